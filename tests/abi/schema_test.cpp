// The schema that kovax_source_init_parameters publishes.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "implementation/json.h"
#include "tests/support/plugin_library.h"

namespace {

using kovax::json;

std::string schema_text() {
  std::string text;
  test_support::plugin().init_parameters(
      &text, [](void* data, const char* schema) { *static_cast<std::string*>(data) = schema; });
  return text;
}

TEST(schema_test, is_one_line) {
  EXPECT_EQ(schema_text().find_first_of("\r\n"), std::string::npos);
}

TEST(schema_test, shows_two_blanks_where_a_line_began) {
  EXPECT_NE(schema_text().find("  "), std::string::npos);
}

TEST(schema_test, is_a_json_object) {
  EXPECT_TRUE(json::parse(schema_text()).is_object());
}

TEST(schema_test, names_the_2020_12_edition) {
  const auto schema = json::parse(schema_text());
  EXPECT_NE(schema.at("$schema").get<std::string>().find("2020-12"), std::string::npos);
}

TEST(schema_test, is_the_same_on_every_call) {
  EXPECT_EQ(schema_text(), schema_text());
}

struct expectation {
  const char* name;
  const char* pointer;
  const char* value;
};

void PrintTo(const expectation& value, std::ostream* out) {
  *out << value.name;
}

constexpr auto entry = "/properties";
constexpr auto parameters = "/properties/init_parameters/properties";

class schema_member_test : public testing::TestWithParam<expectation> {};

TEST_P(schema_member_test, is_as_published) {
  const auto schema = json::parse(schema_text());
  EXPECT_EQ(schema.at(json::json_pointer(GetParam().pointer)), json::parse(GetParam().value));
}

#define INIT "/properties/init_parameters"
#define SERIAL INIT "/properties/serialport"
#define SETTINGS SERIAL "/properties/settings"
#define DETECT INIT "/properties/auto_detect_db_config"

INSTANTIATE_TEST_SUITE_P(
    members, schema_member_test,
    testing::Values(
        expectation{"title", "/title", R"("veltra init parameters")"},
        expectation{"type", "/type", R"("object")"},
        expectation{"additional", "/additionalProperties", "false"},
        expectation{"required", "/required", R"(["init_parameters"])"},
        expectation{"name", "/properties/name", R"({"const": "kovax-veltra-source"})"},
        expectation{"path", "/properties/path", R"({"type": "string"})"},
        expectation{"init_type", INIT "/type", R"("object")"},
        expectation{"init_additional", INIT "/additionalProperties", "false"},
        expectation{"file_path", INIT "/properties/file_path",
                    R"({"type": "string", "description": "path to trace file bin"})"},
        expectation{"db_file_path", INIT "/properties/db_file_path",
                    R"({"type": "string", "description":
                        "path to db.tar.gz or json file overwrites auto_detect_db_config if present"})"},
        expectation{"chunk_size", INIT "/properties/chunk_size",
                    R"({"type": "integer", "description":
                        "change file/serialport buffer size default = 1024"})"},
        expectation{"serialport_type", SERIAL "/type", R"("object")"},
        expectation{"serialport_additional", SERIAL "/additionalProperties", "false"},
        expectation{"serialport_required", SERIAL "/required", R"(["path"])"},
        expectation{"serialport_description", SERIAL "/description", R"("serialport settings")"},
        expectation{"serialport_path", SERIAL "/properties/path",
                    R"({"type": "string", "description": "path or name for serialport device"})"},
        expectation{"settings_type", SETTINGS "/type", R"("object")"},
        expectation{"settings_description", SETTINGS "/description",
                    R"("settings for serialport for modem trace baudrate needs to be 1000000 ")"},
        expectation{"baud_rate", SETTINGS "/properties/baud_rate/type", R"("integer")"},
        expectation{"data_bits_type", SETTINGS "/properties/data_bits/type", R"("integer")"},
        expectation{"data_bits_minimum", SETTINGS "/properties/data_bits/minimum", "5"},
        expectation{"data_bits_maximum", SETTINGS "/properties/data_bits/maximum", "12"},
        expectation{"data_bits_exclusive", SETTINGS "/properties/data_bits/exclusiveMaximum",
                    "true"},
        expectation{"stop_bits_type", SETTINGS "/properties/stop_bits/type", R"("string")"},
        expectation{"stop_bits_enum", SETTINGS "/properties/stop_bits/enum",
                    R"(["1", "1.5", "2"])"},
        expectation{"parity_type", SETTINGS "/properties/parity/type", R"("string")"},
        expectation{"parity_enum", SETTINGS "/properties/parity/enum",
                    R"(["none", "even", "odd"])"},
        expectation{"flow_control_type", SETTINGS "/properties/flow_control/type", R"("string")"},
        expectation{"flow_control_enum", SETTINGS "/properties/flow_control/enum",
                    R"(["none", "hw", "sw"])"},
        expectation{"detect_type", DETECT "/type", R"("object")"},
        expectation{"detect_additional", DETECT "/additionalProperties", "false"},
        expectation{"detect_required", DETECT "/required", R"(["cache_directory"])"},
        expectation{"locations_type", DETECT "/properties/trace_db_locations/type", R"("array")"},
        expectation{"locations_description", DETECT "/properties/trace_db_locations/description",
                    R"("download priority list of config.json")"},
        expectation{"cache_directory", DETECT "/properties/cache_directory",
                    R"({"type": "string", "description": "cache directory location"})"},
        expectation{"update_cache", DETECT "/properties/update_cache",
                    R"({"type": "boolean", "description": "try to update config.json"})"},
        expectation{"proxy_setting", DETECT "/properties/proxy_setting",
                    R"({"type": "string", "description": "proxy address with port"})"},
        expectation{"root", DETECT "/properties/root",
                    R"({"type": "string", "description":
                "root path (uri/url like http://path or file://fs_path etc.) for trace_db_locations and config.json paths"})"}),
    [](const auto& information) { return std::string(information.param.name); });

// Exactly the members of the tables, no more.
class schema_keys_test : public testing::TestWithParam<expectation> {};

TEST_P(schema_keys_test, are_complete) {
  const auto schema = json::parse(schema_text());
  json keys = json::array();
  for (const auto& [key, value] : schema.at(json::json_pointer(GetParam().pointer)).items()) {
    keys.push_back(key);
  }
  EXPECT_EQ(keys, json::parse(GetParam().value));
}

INSTANTIATE_TEST_SUITE_P(
    objects, schema_keys_test,
    testing::Values(
        expectation{"entry", entry, R"(["init_parameters", "name", "path"])"},
        expectation{"init_parameters", parameters,
                    R"(["auto_detect_db_config", "chunk_size", "db_file_path", "file_path",
                        "serialport"])"},
        expectation{"serialport", SERIAL "/properties", R"(["path", "settings"])"},
        expectation{"settings", SETTINGS "/properties",
                    R"(["baud_rate", "data_bits", "flow_control", "parity", "stop_bits"])"},
        expectation{"auto_detect_db_config", DETECT "/properties",
                    R"(["cache_directory", "proxy_setting", "root", "trace_db_locations",
                        "update_cache"])"}),
    [](const auto& information) { return std::string(information.param.name); });

}  // namespace
