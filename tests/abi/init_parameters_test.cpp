// What kovax_source_init takes and refuses, in which order, and how it says so.
#include <filesystem>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "platform/file.h"
#include "tests/support/source_fixture.h"
#include "tests/support/unopenable_file.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::plugin;
using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr auto missing_input = "veltra plugin missing trace file path or serialport";

class init_parameters_test : public test_support::source_fixture {};

// --- no input -------------------------------------------------------------------

TEST_F(init_parameters_test, empty_text_is_refused) {
  EXPECT_EQ(init_failure(std::string()), missing_input);
}

TEST_F(init_parameters_test, absent_text_is_refused) {
  kovax_source* source = nullptr;
  std::string message;
  kovax_source_init_args arguments = {};
  arguments.error_user_data = &message;
  arguments.error = [](void* data, kovax_error_t error) {
    *static_cast<std::string*>(data) = std::to_string(error.code) + " " + error.message;
  };
  EXPECT_EQ(plugin().init(&source, &arguments), 1);
  EXPECT_EQ(message, std::string("1 ") + missing_input);
  EXPECT_EQ(source, nullptr);
}

class no_input_test : public test_support::source_fixture,
                      public test_support::given_value<const char*> {};

TEST_GIVEN(no_input_test, is_refused) {
  EXPECT_EQ(init_failure(std::string(given())), missing_input);
}

GIVEN(parameters, no_input_test,
      {"{}", "[]", "null", "5", "true", R"("text")", "  {}  ", R"(["file_path"])",
       R"({"file_path": ""})", R"({"file_path": "", "db_file_path": ""})", R"({"serialport": {}})",
       R"({"serialport": {"path": ""}})", R"({"serialport": "COM3"})", R"({"serialport": null})",
       R"({"chunk_size": 5})", R"({"FILE_PATH": "/dev/null"})",
       R"({"init_parameters": {"file_path": "/dev/null"}})"});

// --- not JSON -------------------------------------------------------------------

class broken_json_test : public test_support::source_fixture,
                         public test_support::given_value<const char*> {};

TEST_GIVEN(broken_json_test, fails_with_the_parsers_message) {
  EXPECT_THAT(init_failure(std::string(given())),
              StartsWith("[json.exception.parse_error.101] parse error at line 1, column "));
}

GIVEN(texts, broken_json_test,
      {" ", "{", "}", "{]", "{} {}", "{},", "nul", "{'a': 1}", R"({"a": 1,})", "/* comment */ {}",
       "{} // comment", R"({"a": "\xff"})", "{\"a\": \"\xff\"}", "{\"a\": \"tab\tinside\"}"});

// --- results and callbacks --------------------------------------------------------

TEST_F(init_parameters_test, success_writes_the_handle_and_reports_nothing) {
  open_trace("x");
  EXPECT_NE(session.handle(), nullptr);
  EXPECT_TRUE(session.errors.empty());
}

TEST_F(init_parameters_test, a_failure_leaves_the_out_pointer_alone) {
  char sentinel = 0;
  auto* before = reinterpret_cast<kovax_source*>(&sentinel);
  kovax_source* source = before;
  kovax_source_init_args arguments = {};
  arguments.parameters = "{}";
  EXPECT_EQ(plugin().init(&source, &arguments), 1);
  EXPECT_EQ(source, before);
}

TEST_F(init_parameters_test, a_null_error_function_is_tolerated) {
  session.without_error = true;
  EXPECT_EQ(session.init(std::string("{}")), 1);
  EXPECT_EQ(session.handle(), nullptr);
}

TEST_F(init_parameters_test, a_null_log_function_is_tolerated) {
  session.without_log = true;
  open_decoding("x");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.release(), 0);
}

TEST_F(init_parameters_test, a_null_log_function_is_tolerated_with_a_serial_port) {
  session.without_log = true;
  open({{"serialport", {{"path", "/nowhere/veltra-tty"}}}});
}

TEST_F(init_parameters_test, an_error_function_that_throws_is_swallowed) {
  session.on_error = [] { throw std::runtime_error("from the error function"); };
  EXPECT_EQ(session.init(std::string("{}")), 1);
  EXPECT_EQ(session.errors.size(), 1U);
}

TEST_F(init_parameters_test, an_error_function_that_throws_a_number_is_swallowed) {
  session.on_error = [] { throw 5; };
  EXPECT_EQ(session.init(std::string("{}")), 1);
  EXPECT_EQ(session.errors.size(), 1U);
}

TEST_F(init_parameters_test, unknown_members_are_ignored) {
  open({{"file_path", write_trace("abc")}, {"colour", "red"}, {"name", 5}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "abc");
}

TEST_F(init_parameters_test, an_instance_can_be_made_after_a_failed_one) {
  EXPECT_EQ(init_failure(std::string("{}")), missing_input);
  session.errors.clear();
  open_trace("abc");
}

TEST_F(init_parameters_test, a_trace_file_alone_makes_no_decoder) {
  open_trace("abc");
  EXPECT_EQ(session.start(), 0);
  session.release();
  EXPECT_EQ(decoder.call_count(), 0U);
}

// --- trace file -------------------------------------------------------------------

TEST_F(init_parameters_test, a_missing_trace_file_is_refused) {
  EXPECT_EQ(init_failure({{"file_path", (directory.path() / "none.bin").string()}}),
            "trace file does not exist");
}

TEST_F(init_parameters_test, a_trace_file_below_a_file_does_not_exist) {
  EXPECT_EQ(init_failure({{"file_path", write_trace("x") + "/below"}}),
            "trace file does not exist");
}

TEST_F(init_parameters_test, a_directory_as_trace_file_exists_and_fails_later) {
  const auto path = directory.path().string();
  EXPECT_THAT(init_failure({{"file_path", path}}),
              AnyOf("trace_file could not be opened at " + path, HasSubstr("file_size")));
}

TEST_F(init_parameters_test, a_trace_file_that_cannot_be_opened_is_named_without_quotes) {
  const auto path = directory.path() / "unopenable.bin";
  const test_support::unopenable_file file(path);
  EXPECT_EQ(init_failure({{"file_path", path.string()}}),
            "trace_file could not be opened at " + path.string());
}

TEST_F(init_parameters_test, a_relative_trace_file_is_reported_below_the_working_directory) {
  const test_support::unopenable_file file(directory.path() / "unopenable.bin");
  const test_support::working_directory inside(directory.path());
  const auto expected = std::filesystem::current_path() / "unopenable.bin";
  EXPECT_EQ(init_failure({{"file_path", "unopenable.bin"}}),
            "trace_file could not be opened at " + expected.string());
}

// --- database file ------------------------------------------------------------------

TEST_F(init_parameters_test, a_missing_database_file_is_refused) {
  EXPECT_EQ(init_failure({{"file_path", write_trace("x")},
                          {"db_file_path", (directory.path() / "none.json").string()}}),
            "database file does not exist");
}

TEST_F(init_parameters_test, a_missing_database_file_makes_no_decoder) {
  init_failure({{"file_path", write_trace("x")},
                {"db_file_path", (directory.path() / "none.json").string()}});
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(init_parameters_test, a_database_that_cannot_be_opened_is_called_a_trace_file) {
  const auto path = directory.path() / "db.json";
  const test_support::unopenable_file file(path);
  EXPECT_EQ(init_failure({{"file_path", write_trace("x")}, {"db_file_path", path.string()}}),
            "veltra plugin cannot open trace file at " + path.string());
}

TEST_F(init_parameters_test, opening_the_database_comes_before_its_extension) {
  const auto path = directory.path() / "db.txt";
  const test_support::unopenable_file file(path);
  EXPECT_EQ(init_failure({{"file_path", write_trace("x")}, {"db_file_path", path.string()}}),
            "veltra plugin cannot open trace file at " + path.string());
}

TEST_F(init_parameters_test, a_directory_named_like_a_database_is_refused) {
  std::filesystem::create_directory(directory.path() / "db.json");
  const auto path = (directory.path() / "db.json").string();
  EXPECT_THAT(init_failure({{"file_path", write_trace("x")}, {"db_file_path", path}}),
              AnyOf("veltra plugin cannot open trace file at " + path,
                    "Trace database has missing fields or is invalid"));
}

TEST_F(init_parameters_test, an_empty_database_path_loads_none) {
  open({{"file_path", write_trace("x")}, {"db_file_path", ""}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.call_count(), 0U);
}

// --- types of path values ---------------------------------------------------------------

struct path_value {
  const char* json_text;
  const char* type_name;
};

void PrintTo(const path_value& value, std::ostream* out) {
  *out << value.type_name;
}

class path_type_test : public test_support::source_fixture,
                       public test_support::given_value<std::tuple<const char*, path_value>> {};

TEST_GIVEN(path_type_test, must_be_a_string) {
  const auto& [key, value] = given();
  json parameters = {{"file_path", write_trace("x")}};
  parameters[key] = json::parse(value.json_text);
  EXPECT_THAT(init_failure(parameters),
              testing::EndsWith(std::string("type must be string, but is ") + value.type_name));
}

GIVEN(values, path_type_test,
      test_support::every_pair({"file_path", "db_file_path"},
                               {path_value{"5", "number"}, path_value{"-5", "number"},
                                path_value{"0.5", "number"}, path_value{"true", "boolean"},
                                path_value{"null", "null"}, path_value{"{}", "object"},
                                path_value{"[]", "array"}}));

// --- auto-detection --------------------------------------------------------------------

TEST_F(init_parameters_test, a_named_database_overrides_auto_detection) {
  const auto cache = directory.path() / "cache";
  open({{"file_path", write_trace("x")},
        {"db_file_path", write_database(test_support::minimal_database())},
        {"auto_detect_db_config", {{"cache_directory", cache.string()}}}});
  EXPECT_FALSE(std::filesystem::exists(cache));
}

TEST_F(init_parameters_test, a_named_database_overrides_even_a_broken_auto_detection) {
  open({{"file_path", write_trace("x")},
        {"db_file_path", write_database(test_support::minimal_database())},
        {"auto_detect_db_config", {{"cache_directory", 5}}}});
}

TEST_F(init_parameters_test, an_empty_database_path_does_not_override_auto_detection) {
  const auto cache = directory.path() / "cache";
  EXPECT_THAT(init_failure({{"file_path", write_trace("x")},
                            {"db_file_path", ""},
                            {"auto_detect_db_config", {{"cache_directory", cache.string()}}}}),
              StartsWith("cannot open file: "));
  EXPECT_TRUE(std::filesystem::exists(cache));
}

class skipped_detection_test : public test_support::source_fixture,
                               public test_support::given_value<const char*> {};

TEST_GIVEN(skipped_detection_test, is_skipped_in_silence) {
  open({{"file_path", write_trace("abc")}, {"auto_detect_db_config", json::parse(given())}});
  EXPECT_TRUE(session.logs.empty());
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "abc");
}

GIVEN(values, skipped_detection_test,
      {"{}", "null", "5", "true", R"("cache_directory")", "[]", R"(["cache_directory"])",
       R"({"update_cache": true})", R"({"root": 5, "trace_db_locations": false})",
       R"({"Cache_Directory": "x"})"});

// --- both inputs -----------------------------------------------------------------------

TEST_F(init_parameters_test, a_trace_file_is_read_rather_than_a_serial_port) {
  open({{"file_path", write_trace("abc")}, {"serialport", {{"path", "/nowhere/veltra-tty"}}}});
  session.logs.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "abc");
  EXPECT_TRUE(session.logs.empty());
}

TEST_F(init_parameters_test, a_serial_port_is_not_opened_by_init) {
  open({{"serialport", {{"path", "/nowhere/veltra-tty"}}}});
}

TEST_F(init_parameters_test, a_database_is_loaded_for_a_serial_port_too) {
  open({{"serialport", {{"path", "/nowhere/veltra-tty"}}},
        {"db_file_path", write_database(test_support::minimal_database())}});
  EXPECT_EQ(decoder.calls_of(scripted_new).size(), 1U);
}

// --- the order of the checks ---------------------------------------------------------

// A fault that can be put into sound parameters, in the order of the checks.
struct parameter_fault {
  const char* name;
  void (*apply)(json& parameters);
  const char* message;  // a part of the text that is reported
};

void PrintTo(const parameter_fault& fault, std::ostream* out) {
  *out << fault.name;
}

constexpr parameter_fault faults[] = {
    {"trace_file_type", [](json& p) { p["file_path"] = 5; }, "type must be string, but is number"},
    {"serial_parity",
     [](json& p) {
       p["serialport"] = {{"path", "tty"}, {"settings", {{"parity", "ODD"}}}};
     },
     "parity cannot be converted allowed values are: none, odd, even"},
    {"database_missing", [](json& p) { p["db_file_path"] = "/nowhere/veltra.json"; },
     "database file does not exist"},
    {"chunk_size_type", [](json& p) { p["chunk_size"] = true; },
     "type must be number, but is boolean"},
    {"auto_detection",
     [](json& p) {
       p["auto_detect_db_config"] = {{"cache_directory", "/dev/null/cache"}};
     },
     "/dev/null/cache"},
};

// Of two faults, the one that is found first, and the other.
struct fault_pair {
  const parameter_fault& first;
  const parameter_fault& second;
};

void PrintTo(const fault_pair& pair, std::ostream* out) {
  *out << pair.first.name << " before " << pair.second.name;
}

class init_order_test : public test_support::source_fixture,
                        public test_support::given_value<fault_pair> {};

TEST_GIVEN(init_order_test, the_earlier_fault_is_reported) {
  json parameters = {{"file_path", write_trace("x")}};
  given().second.apply(parameters);
  given().first.apply(parameters);
  EXPECT_THAT(init_failure(parameters), HasSubstr(given().first.message));
}

std::vector<fault_pair> pairs() {
  std::vector<fault_pair> result;
  for (std::size_t first = 0; first < std::size(faults); ++first) {
    for (std::size_t second = first + 1; second < std::size(faults); ++second) {
      result.push_back({faults[first], faults[second]});
    }
  }
  return result;
}

GIVEN(pairs, init_order_test, pairs());

class single_fault_test : public test_support::source_fixture,
                          public test_support::given_value<parameter_fault> {};

TEST_GIVEN(single_fault_test, is_reported) {
  json parameters = {{"file_path", write_trace("x")}};
  given().apply(parameters);
  EXPECT_THAT(init_failure(parameters), HasSubstr(given().message));
}

// The last parameter_fault needs that no database is named, as it is here.
GIVEN(faults, single_fault_test, {std::begin(faults), std::end(faults)});

class init_sequence_test : public test_support::source_fixture {};

TEST_F(init_sequence_test, a_missing_trace_file_comes_before_a_wrong_chunk_size) {
  EXPECT_EQ(init_failure({{"file_path", "/nowhere/veltra.bin"}, {"chunk_size", true}}),
            "trace file does not exist");
}

TEST_F(init_sequence_test, a_missing_trace_file_comes_before_a_missing_database) {
  EXPECT_EQ(init_failure(
                {{"file_path", "/nowhere/veltra.bin"}, {"db_file_path", "/nowhere/veltra.json"}}),
            "trace file does not exist");
}

TEST_F(init_sequence_test, a_missing_database_comes_before_the_missing_input) {
  EXPECT_EQ(init_failure({{"db_file_path", "/nowhere/veltra.json"}}),
            "database file does not exist");
}

TEST_F(init_sequence_test, a_wrong_chunk_size_comes_before_the_missing_input) {
  EXPECT_THAT(init_failure({{"chunk_size", "1024"}}),
              HasSubstr("type must be number, but is string"));
}

TEST_F(init_sequence_test, auto_detection_comes_before_the_missing_input) {
  EXPECT_THAT(init_failure({{"auto_detect_db_config", {{"cache_directory", "/dev/null/cache"}}}}),
              HasSubstr("/dev/null/cache"));
}

TEST_F(init_sequence_test, the_missing_input_comes_before_a_broken_database) {
  EXPECT_EQ(init_failure({{"db_file_path", write_database(json::array())}}),
            "veltra plugin missing trace file path or serialport");
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(init_sequence_test, the_trace_file_is_opened_before_the_database_is_loaded) {
  const auto path = directory.path() / "unopenable.bin";
  const test_support::unopenable_file file(path);
  EXPECT_EQ(init_failure({{"file_path", path.string()},
                          {"db_file_path", write_database(test_support::minimal_database())}}),
            "trace_file could not be opened at " + path.string());
  EXPECT_EQ(decoder.call_count(), 0U);
  EXPECT_TRUE(session.logs.empty());
}

}  // namespace
