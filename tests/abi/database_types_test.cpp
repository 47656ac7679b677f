// Fields of a trace database that are of another type than they should be, and are
// not refused for it: docs/database-format.md, "Fields".
#include <gmock/gmock.h>

#include <string>
#include <tuple>

#include "tests/support/source_fixture.h"
#include "tests/support/test_names.h"
#include "tests/support/this_process.h"

namespace {

using kovax::json;
using test_support::aborted;
using test_support::conversion_database;
using testing::Combine;
using testing::HasSubstr;
using testing::Values;

constexpr auto invalid_database = "Trace database has missing fields or is invalid";
constexpr auto strict_access = "it != m_value.object->end()";
constexpr auto conditions = R"(element.contains("conditions"))";

// A JSON pointer, and the text of the value that is put there.
using replacement = std::tuple<const char*, const char*>;

class database_types_test : public test_support::source_fixture,
                            public testing::WithParamInterface<replacement> {
 protected:
  static json database() {
    auto result = conversion_database();
    result[json::json_pointer(std::get<0>(GetParam()))] = json::parse(std::get<1>(GetParam()));
    return result;
  }

  void expect_stop(const char* contract) {
    const json parameters = {{"file_path", write_trace("")},
                             {"db_file_path", write_database(database())}};
    EXPECT_EXIT(session.init(parameters), aborted, HasSubstr(contract));
  }
};

constexpr auto aliases = "/meta/aliases";
constexpr auto masters = "/meta/connection_configs/dekodrix_config/masters";
constexpr auto first_conditions = "/meta/trace_type_descriptors/0/conditions";
constexpr auto static_strings = "/static_data/static_strings";

class accepted_type_test : public database_types_test {};

TEST_P(accepted_type_test, passes_in_silence) {
  open_decoding("", database());
}

INSTANTIATE_TEST_SUITE_P(lists, accepted_type_test,
                         Combine(Values(aliases, masters, "/buffers", "/traces", static_strings),
                                 Values("null", "{}")),
                         test_support::named_by_value());
INSTANTIATE_TEST_SUITE_P(lists_with_skipped_elements, accepted_type_test,
                         Combine(Values("/peer_buffer_layers", first_conditions),
                                 Values("null", "{}", "5", "true", "\"x\"", "[5]", "[null]", "[[]]",
                                        R"({"a": {}})", R"({"a": 5})")),
                         test_support::named_by_value());
INSTANTIATE_TEST_SUITE_P(static_data, accepted_type_test,
                         Combine(Values("/static_data"), Values("null", "5", "\"x\"", "[]")),
                         test_support::named_by_value());

class refused_list_test : public database_types_test {};

TEST_P(refused_list_test, is_invalid) {
  EXPECT_EQ(database_failure(database()), invalid_database);
}

INSTANTIATE_TEST_SUITE_P(lists, refused_list_test,
                         Combine(Values(aliases, masters, "/buffers", "/traces", static_strings),
                                 Values("5", "true", "\"x\"", R"({"a": 5})")),
                         test_support::named_by_value());

class walked_object_test : public database_types_test {};

TEST_P(walked_object_test, stops_the_process_for_a_value_that_lacks_its_members) {
  expect_stop(strict_access);
}

INSTANTIATE_TEST_SUITE_P(lists, walked_object_test,
                         Combine(Values(aliases, masters, "/buffers", "/traces", static_strings),
                                 Values(R"({"a": {}})")),
                         test_support::named_by_value());

class descriptor_type_test : public database_types_test {};

TEST_P(descriptor_type_test, stops_the_process) {
  expect_stop(conditions);
}

INSTANTIATE_TEST_SUITE_P(elements, descriptor_type_test,
                         Combine(Values("/meta/trace_type_descriptors/0"),
                                 Values("5", "\"conditions\"", "null", "[]", "true")),
                         test_support::named_by_value());

class no_configuration_test : public database_types_test {};

TEST_P(no_configuration_test, counts_as_absent) {
  EXPECT_EQ(database_failure(database()), "dekodrix config not found");
}

INSTANTIATE_TEST_SUITE_P(connection_configs, no_configuration_test,
                         Combine(Values("/meta/connection_configs"),
                                 Values("null", "5", "\"x\"", "[]")),
                         test_support::named_by_value());

class null_configuration_test : public database_types_test {};

TEST_P(null_configuration_test, is_passed_on) {
  auto document = database();
  if (document["meta"].contains("decoder_config")) document["meta"].erase("connection_configs");
  open_decoding("", document);
  EXPECT_EQ(decoder.calls_of(scripted_set_configuration_json).at(0).bytes, "null");
}

INSTANTIATE_TEST_SUITE_P(places, null_configuration_test,
                         Combine(Values("/meta/connection_configs/dekodrix_config",
                                        "/meta/decoder_config"),
                                 Values("null")),
                         test_support::named_by_value());

// What passes in the place of "conditions" makes no condition.
class conditions_test : public test_support::source_fixture {};

TEST_F(conditions_test, that_are_no_array_hold_for_no_trace) {
  auto database = conversion_database();
  const std::string trace = test_support::build_trace(
      {.id = test_support::id::peer_dump, .buffer_id = test_support::id::at_answer_buffer}, "OK");
  database["meta"]["trace_type_descriptors"][0]["conditions"] = 5;
  EXPECT_TRUE(convert(database, {trace}).empty());
}

TEST_F(conditions_test, in_an_object_hold_like_those_in_an_array) {
  auto database = conversion_database();
  const std::string trace = test_support::build_trace(
      {.id = test_support::id::peer_dump, .buffer_id = test_support::id::at_answer_buffer}, "OK");
  database["meta"]["trace_type_descriptors"][0]["conditions"] = {
      {"a", {{"trace_id", test_support::id::peer_dump}}}};
  EXPECT_EQ(convert(database, {trace}).size(), 1U);
}

}  // namespace
