// The masters of a trace database, and values of other types than they should have.
#include <gmock/gmock.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <tuple>

#include "tests/abi/database_texts.h"
#include "tests/support/source_fixture.h"
#include "tests/support/this_process.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::aborted;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using testing::HasSubstr;

// --- ids ----------------------------------------------------------------------------

class database_masters_test : public test_support::source_fixture {
 protected:
  json database = conversion_database();
  json& meta = database["meta"];

  // Whether a trace of this master becomes a packet.
  bool accepts(std::uint32_t master) {
    if (session.handle() == nullptr) open_decoding("", database);
    if (HasFatalFailure()) return false;
    session.packets.clear();
    decoder.add_trace(0, master, build_trace({.buffer_id = "1"}, "x"));
    EXPECT_EQ(session.start(), 0);
    return session.packets.size() == 1;
  }

  std::string refusal() { return database_failure(database); }
};

TEST_F(database_masters_test, the_own_id_is_accepted) {
  EXPECT_TRUE(accepts(database_master));
  EXPECT_FALSE(accepts(database_master - 1));
  EXPECT_FALSE(accepts(database_master + 1));
  EXPECT_FALSE(accepts(0));
}

struct number {
  const char* text;
  std::uint32_t value;
};

void PrintTo(const number& value, std::ostream* out) {
  *out << value.text;
}

class id_number_test : public database_masters_test, public test_support::given_value<number> {};

TEST_GIVEN(id_number_test, is_read_as_an_unsigned_32_bit_number) {
  meta["id"] = json::parse(given().text);
  EXPECT_TRUE(accepts(given().value));
  EXPECT_FALSE(accepts(given().value ^ 1U));
}

GIVEN(values, id_number_test,
      {number{"0", 0}, number{"33.9", 33}, number{"4294967295", 4294967295},
       number{"4294967301", 5}, number{"-1", 4294967295}, number{"-4294967290", 6}});

TEST_F(database_masters_test, a_fraction_far_beyond_32_bits_does_no_harm) {
  meta["id"] = 1e300;
  open_decoding("", database);
}

TEST_F(database_masters_test, aliases_are_accepted_beside_the_own_id) {
  meta["aliases"] = json::parse(R"([{"id": 5}, {"id": 6, "name": "x"}])");
  EXPECT_TRUE(accepts(database_master));
  EXPECT_TRUE(accepts(5));
  EXPECT_TRUE(accepts(6));
  EXPECT_FALSE(accepts(7));
}

TEST_F(database_masters_test, alias_ids_may_be_booleans_and_fractions) {
  meta["aliases"] = json::parse(R"([{"id": true}, {"id": 7.8}, {"id": -2}, {"id": 4294967299}])");
  EXPECT_TRUE(accepts(1));
  EXPECT_TRUE(accepts(7));
  EXPECT_TRUE(accepts(4294967294));
  EXPECT_TRUE(accepts(3));
  EXPECT_FALSE(accepts(8));
}

TEST_F(database_masters_test, no_aliases_are_no_fault) {
  meta["aliases"] = json::array();
  EXPECT_TRUE(accepts(database_master));
}

// --- masters -----------------------------------------------------------------------------

TEST_F(database_masters_test, aliases_of_the_own_master_are_accepted) {
  meta["decoder_config"] = json::parse(R"({"masters": [{"id": 33, "aliases": [40, 41]}]})");
  EXPECT_TRUE(accepts(database_master));
  EXPECT_TRUE(accepts(40));
  EXPECT_TRUE(accepts(41));
  EXPECT_FALSE(accepts(42));
}

TEST_F(database_masters_test, another_master_contributes_nothing) {
  meta["decoder_config"] = json::parse(R"({"masters": [{"id": 34, "aliases": [40, 41]}]})");
  EXPECT_FALSE(accepts(40));
  EXPECT_FALSE(accepts(34));
}

TEST_F(database_masters_test, every_master_with_the_own_id_contributes) {
  meta["decoder_config"] = json::parse(R"({"masters": [
      {"id": 33, "aliases": [40]}, {"id": 5, "aliases": [50]}, {"id": 33, "aliases": [60]}]})");
  EXPECT_TRUE(accepts(40));
  EXPECT_FALSE(accepts(50));
  EXPECT_TRUE(accepts(60));
}

TEST_F(database_masters_test, the_newer_place_is_used_when_there_is_no_older_one) {
  meta["connection_configs"]["dekodrix_config"] =
      json::parse(R"({"masters": [{"id": 33, "aliases": [40]}]})");
  EXPECT_TRUE(accepts(40));
}

TEST_F(database_masters_test, the_older_place_is_preferred_for_masters) {
  meta["decoder_config"] = json::parse(R"({"masters": [{"id": 33, "aliases": [40]}]})");
  meta["connection_configs"]["dekodrix_config"] =
      json::parse(R"({"masters": [{"id": 33, "aliases": [50]}]})");
  EXPECT_TRUE(accepts(40));
  EXPECT_FALSE(accepts(50));
  EXPECT_EQ(decoder.calls_of(scripted_set_configuration_json).at(0).bytes,
            R"({"masters":[{"aliases":[50],"id":33}]})");
}

TEST_F(database_masters_test, an_older_place_without_masters_hides_the_newer_one) {
  meta["decoder_config"] = json::object();
  meta["connection_configs"]["dekodrix_config"] =
      json::parse(R"({"masters": [{"id": 33, "aliases": [50]}]})");
  EXPECT_TRUE(accepts(database_master));
  EXPECT_FALSE(accepts(50));
}

TEST_F(database_masters_test, no_masters_are_no_fault) {
  meta["connection_configs"]["dekodrix_config"] = json::object();
  EXPECT_TRUE(accepts(database_master));
}

TEST_F(database_masters_test, ids_of_masters_are_compared_as_32_bit_numbers) {
  meta["decoder_config"] = json::parse(R"({"masters": [{"id": 4294967329, "aliases": [40]}]})");
  EXPECT_TRUE(accepts(40));
}

class master_aliases_test : public database_masters_test,
                            public test_support::given_value<const char*> {};

TEST_GIVEN(master_aliases_test, must_be_an_array_of_numbers) {
  json master = {{"id", 33}};
  master["aliases"] = json::parse(given());
  meta["decoder_config"]["masters"] = json::array();
  meta["decoder_config"]["masters"].push_back(master);
  EXPECT_EQ(refusal(), invalid_database);
}

GIVEN(values, master_aliases_test,
      {"5", "\"5\"", "null", "{}", "{\"a\": 5}", "true", "[\"5\"]", "[null]", "[5, {}]"});

TEST_F(database_masters_test, aliases_of_another_master_are_not_read) {
  meta["decoder_config"] = json::parse(R"({"masters": [{"id": 34, "aliases": "text"}]})");
  EXPECT_TRUE(accepts(database_master));
}

class master_test : public database_masters_test, public test_support::given_value<const char*> {};

TEST_GIVEN(master_test, must_be_an_object_with_a_numeric_id) {
  meta["decoder_config"]["masters"] = json::array();
  meta["decoder_config"]["masters"].push_back(json::parse(given()));
  EXPECT_EQ(refusal(), invalid_database);
}

GIVEN(values, master_test,
      {"5", "\"text\"", "[]", "true", R"({"id": "33", "aliases": []})",
       R"({"id": null, "aliases": []})"});

// --- values of another type ----------------------------------------------------------

// A JSON pointer, and the text of the value that is put there.
using replacement = std::tuple<const char*, const char*>;

class database_types_test : public test_support::source_fixture,
                            public test_support::given_value<replacement> {
 protected:
  static json database() {
    auto result = conversion_database();
    result[json::json_pointer(std::get<0>(given()))] = json::parse(std::get<1>(given()));
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

TEST_GIVEN(accepted_type_test, passes_in_silence) {
  open_decoding("", database());
}

GIVEN(lists, accepted_type_test,
      test_support::every_pair<const char*, const char*>({aliases, masters, "/buffers", "/traces",
                                                          static_strings},
                                                         {"null", "{}"}));
GIVEN(lists_with_skipped_elements, accepted_type_test,
      test_support::every_pair<const char*, const char*>({"/peer_buffer_layers", first_conditions},
                                                         {"null", "{}", "5", "true", "\"x\"", "[5]",
                                                          "[null]", "[[]]", R"({"a": {}})",
                                                          R"({"a": 5})"}));
GIVEN(static_data, accepted_type_test,
      test_support::every_pair<const char*, const char*>({"/static_data"},
                                                         {"null", "5", "\"x\"", "[]"}));

class refused_list_test : public database_types_test {};

TEST_GIVEN(refused_list_test, is_invalid) {
  EXPECT_EQ(database_failure(database()), invalid_database);
}

GIVEN(lists, refused_list_test,
      test_support::every_pair<const char*, const char*>({aliases, masters, "/buffers", "/traces",
                                                          static_strings},
                                                         {"5", "true", "\"x\"", R"({"a": 5})"}));

class walked_object_test : public database_types_test {};

TEST_GIVEN(walked_object_test, stops_the_process_for_a_value_that_lacks_its_members) {
  expect_stop(strict_access);
}

GIVEN(lists, walked_object_test,
      test_support::every_pair<const char*, const char*>({aliases, masters, "/buffers", "/traces",
                                                          static_strings},
                                                         {R"({"a": {}})"}));

class descriptor_type_test : public database_types_test {};

TEST_GIVEN(descriptor_type_test, stops_the_process) {
  expect_stop(conditions);
}

GIVEN(elements, descriptor_type_test,
      test_support::every_pair<const char*, const char*>({"/meta/trace_type_descriptors/0"},
                                                         {"5", "\"conditions\"", "null", "[]",
                                                          "true"}));

class no_configuration_test : public database_types_test {};

TEST_GIVEN(no_configuration_test, counts_as_absent) {
  EXPECT_EQ(database_failure(database()), "dekodrix config not found");
}

GIVEN(connection_configs, no_configuration_test,
      test_support::every_pair<const char*, const char*>({"/meta/connection_configs"},
                                                         {"null", "5", "\"x\"", "[]"}));

class null_configuration_test : public database_types_test {};

TEST_GIVEN(null_configuration_test, is_passed_on) {
  auto document = database();
  if (document["meta"].contains("decoder_config")) document["meta"].erase("connection_configs");
  open_decoding("", document);
  EXPECT_EQ(decoder.calls_of(scripted_set_configuration_json).at(0).bytes, "null");
}

GIVEN(places, null_configuration_test,
      test_support::every_pair<const char*, const char*>(
          {"/meta/connection_configs/dekodrix_config", "/meta/decoder_config"}, {"null"}));

// What passes in the place of "conditions" makes no condition.
class conditions_test : public test_support::source_fixture {};

TEST_F(conditions_test, that_are_not_an_array_hold_for_no_trace) {
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
