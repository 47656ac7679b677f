// The interface itself: its headers, the library files, the exported functions that need
// no instance, and the schema.
#include <gmock/gmock.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/library_file.h"
#include "tests/support/source_fixture.h"

extern "C" long header_c_language(void);
long header_cpp11_language();
long header_cpp20_language();

namespace {

using kovax::json;
using test_support::decoder_library_name;
using test_support::plugin;
using test_support::read_library_file;
using testing::Contains;
using testing::ElementsAre;

TEST(exports_test, the_plugin_exports_exactly_seven_functions) {
  const auto file = read_library_file(platform::path_from_utf8(test_support::plugin_file()));
  EXPECT_EQ(file.exported, (std::set<std::string>{
                               "kovax_source_init", "kovax_source_init_parameters",
                               "kovax_source_start", "kovax_source_stop", "kovax_source_release",
                               "kovax_source_version", "kovax_source_get_last_error"}));
}

TEST(exports_test, the_plugin_has_the_file_name_that_hosts_look_for) {
  EXPECT_EQ(platform::path_from_utf8(test_support::plugin_file()).filename(),
            "kovax-veltra-source.kovax");
}

TEST(exports_test, the_plugin_needs_the_decoder_by_its_bare_name) {
  const auto file = read_library_file(platform::path_from_utf8(test_support::plugin_file()));
  EXPECT_THAT(file.needed, Contains(decoder_library_name));
}

TEST(exports_test, the_open_decoder_is_called_so_without_a_version) {
  EXPECT_EQ(read_library_file(VELTRA_DECODER_FILE).name, decoder_library_name);
}

TEST(exports_test, the_open_decoder_exports_exactly_the_interface_and_its_statistics) {
  EXPECT_EQ(read_library_file(VELTRA_DECODER_FILE).exported,
            (std::set<std::string>{
                "dekodrix_new", "dekodrix_delete", "dekodrix_set_timebase", "dekodrix_reset",
                "dekodrix_set_configuration_json", "dekodrix_append_buffer", "dekodrix_parse",
                "dekodrix_get_trace_count", "dekodrix_get_trace", "dekodrix_get_statistics"}));
}

TEST(exports_test, the_scripted_decoder_has_the_same_name) {
  EXPECT_EQ(read_library_file(VELTRA_SCRIPTED_FILE).name, decoder_library_name);
}

struct version_calls {
  std::vector<std::vector<int>> versions;
};

void take_version(void* data, const kovax_version_t* version) {
  static_cast<version_calls*>(data)->versions.push_back(
      {version->major, version->minor, version->patch});
}

TEST(exports_test, version_reports_0_14_2_once) {
  version_calls calls;
  EXPECT_EQ(plugin().version(&calls, &take_version), 0);
  EXPECT_THAT(calls.versions, ElementsAre(ElementsAre(0, 14, 2)));
}

TEST(exports_test, version_passes_null_user_data_on) {
  static bool called;
  called = false;
  EXPECT_EQ(plugin().version(nullptr,
                             [](void* data, const kovax_version_t*) {
                               called = true;
                               EXPECT_EQ(data, nullptr);
                             }),
            0);
  EXPECT_TRUE(called);
}

TEST(exports_test, a_version_callback_that_throws_an_exception_gives_100) {
  EXPECT_EQ(plugin().version(nullptr,
                             [](void*, const kovax_version_t*) { throw std::runtime_error("no"); }),
            100);
}

TEST(exports_test, a_version_callback_that_throws_anything_else_gives_100) {
  EXPECT_EQ(plugin().version(nullptr, [](void*, const kovax_version_t*) { throw 7; }), 100);
}

TEST(exports_test, version_works_after_a_callback_threw) {
  EXPECT_EQ(plugin().version(nullptr, [](void*, const kovax_version_t*) { throw 7; }), 100);
  version_calls calls;
  EXPECT_EQ(plugin().version(&calls, &take_version), 0);
  EXPECT_EQ(calls.versions.size(), 1U);
}

TEST(exports_test, init_parameters_calls_back_once_with_its_user_data) {
  std::vector<std::string> texts;
  EXPECT_EQ(
      plugin().init_parameters(&texts,
                               [](void* data, const char* text) {
                                 static_cast<std::vector<std::string>*>(data)->emplace_back(text);
                               }),
      0);
  ASSERT_EQ(texts.size(), 1U);
  EXPECT_FALSE(texts.front().empty());
}

TEST(exports_test, an_init_parameters_callback_that_throws_an_exception_gives_100) {
  EXPECT_EQ(
      plugin().init_parameters(nullptr, [](void*, const char*) { throw std::runtime_error("no"); }),
      100);
}

TEST(exports_test, an_init_parameters_callback_that_throws_anything_else_gives_100) {
  EXPECT_EQ(plugin().init_parameters(nullptr, [](void*, const char*) { throw 7; }), 100);
}

TEST(exports_test, release_of_a_null_handle_does_nothing) {
  EXPECT_EQ(plugin().release(nullptr), 0);
}

class scripted_decoder_test : public test_support::source_fixture {};

TEST_F(scripted_decoder_test, the_library_search_path_decides_which_decoder_is_used) {
  open_decoding("");
  const auto made = decoder.calls_of(scripted_new);
  ASSERT_EQ(made.size(), 1U);
  EXPECT_NE(made.front().handle, nullptr);
}

// --- the schema -----------------------------------------------------------------------

std::string schema_text() {
  std::string text;
  EXPECT_EQ(
      plugin().init_parameters(
          &text, [](void* data, const char* schema) { *static_cast<std::string*>(data) = schema; }),
      0);
  return text;
}

TEST(schema_test, is_one_line_with_two_blanks_for_each_line_of_the_document) {
  EXPECT_EQ(schema_text().find_first_of("\r\n"), std::string::npos);
  EXPECT_EQ(schema_text().substr(0, 14), R"({  "$schema": )");
  EXPECT_EQ(schema_text(), schema_text()) << "a second call gives another text";
}

TEST(schema_test, describes_the_hosts_entry_for_this_plugin) {
  EXPECT_EQ(json::parse(schema_text()), json::parse(R"({
    "$schema": "https://json-schema.org/draft/2020-12/schema",
    "title": "veltra init parameters",
    "type": "object",
    "additionalProperties": false,
    "required": ["init_parameters"],
    "properties": {
      "name": {"const": "kovax-veltra-source"},
      "path": {"type": "string"},
      "init_parameters": {
        "type": "object",
        "additionalProperties": false,
        "properties": {
          "file_path": {"type": "string", "description": "path to trace file bin"},
          "serialport": {
            "type": "object",
            "description": "serialport settings",
            "additionalProperties": false,
            "required": ["path"],
            "properties": {
              "path": {"type": "string", "description": "path or name for serialport device"},
              "settings": {
                "type": "object",
                "description": "settings for serialport for modem trace baudrate needs to be 1000000 ",
                "properties": {
                  "baud_rate": {"type": "integer"},
                  "data_bits": {"type": "integer", "minimum": 5, "maximum": 12,
                                "exclusiveMaximum": true},
                  "stop_bits": {"type": "string", "enum": ["1", "1.5", "2"]},
                  "parity": {"type": "string", "enum": ["none", "even", "odd"]},
                  "flow_control": {"type": "string", "enum": ["none", "hw", "sw"]}}}}},
          "db_file_path": {"type": "string", "description":
            "path to db.tar.gz or json file overwrites auto_detect_db_config if present"},
          "chunk_size": {"type": "integer", "description":
            "change file/serialport buffer size default = 1024"},
          "auto_detect_db_config": {
            "type": "object",
            "additionalProperties": false,
            "required": ["cache_directory"],
            "properties": {
              "trace_db_locations": {"type": "array", "description":
                "download priority list of config.json"},
              "cache_directory": {"type": "string", "description": "cache directory location"},
              "update_cache": {"type": "boolean", "description": "try to update config.json"},
              "proxy_setting": {"type": "string", "description": "proxy address with port"},
              "root": {"type": "string", "description":
                "root path (uri/url like http://path or file://fs_path etc.) for trace_db_locations and config.json paths"}}}}}}})"));
}

// --- the headers ------------------------------------------------------------------------

// The layouts are asserted while the headers compile; these tests see to it that
// they were compiled as the languages they promise.
TEST(headers_test, compile_as_c11_and_as_two_versions_of_cpp) {
  EXPECT_EQ(header_c_language(), 201112L);
  EXPECT_EQ(header_cpp11_language(), 201103L);
  EXPECT_GE(header_cpp20_language(), 202002L);
}

}  // namespace
