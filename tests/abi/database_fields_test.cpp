// The fields of a trace database: which are needed, of which types, and what
// they come to when they are missing or repeated.
#include <ostream>
#include <string>
#include <vector>

#include "tests/abi/database_texts.h"
#include "tests/support/source_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::minimal_database;
namespace id = test_support::id;

class database_fields_test : public test_support::source_fixture {
 protected:
  std::string configuration_of(const json& database) {
    open_decoding("", database);
    const auto calls = decoder.calls_of(scripted_set_configuration_json);
    return calls.size() == 1 ? calls.front().bytes : "not configured once";
  }

  // The layer that a database gives a trace; empty if it makes no packet.
  std::string layer_of(const json& database, const std::string& trace) {
    const auto packets = convert(database, {trace});
    return packets.empty() ? "" : packets.front().format;
  }
};

// --- databases that are refused -----------------------------------------------------------

struct fault {
  const char* name;
  void (*apply)(json& database);
};

void PrintTo(const fault& value, std::ostream* out) {
  *out << value.name;
}

class invalid_database_test : public database_fields_test,
                              public test_support::given_value<fault> {};

TEST_GIVEN(invalid_database_test, is_refused_with_the_general_message) {
  auto database = conversion_database();
  given().apply(database);
  EXPECT_EQ(database_failure(database), invalid_database);
  EXPECT_EQ(decoder.call_count(), 0U) << "no decoder is made for an invalid database";
}

#define ERASE(key) [](json& d) { d["meta"].erase(key); }
#define SET(key, text) [](json& d) { d["meta"][key] = json::parse(text); }
#define SET_ROOT(key, text) [](json& d) { d[key] = json::parse(text); }

GIVEN(missing, invalid_database_test,
      {fault{"meta", [](json& d) { d.erase("meta"); }}, fault{"id", ERASE("id")},
       fault{"endianness", ERASE("endianness")}, fault{"trace_id_size", ERASE("trace_id_size")},
       fault{"trace_type_descriptors", ERASE("trace_type_descriptors")}});

GIVEN(
    wrong_type, invalid_database_test,
    {fault{"root_array", [](json& d) { d = json::array(); }},
     fault{"root_null", [](json& d) { d = nullptr; }},
     fault{"root_text", [](json& d) { d = "meta"; }},
     fault{"root_number", [](json& d) { d = 5; }},
     fault{"root_empty", [](json& d) { d = json::object(); }},
     fault{"meta_array", SET_ROOT("meta", "[]")},
     fault{"meta_null", SET_ROOT("meta", "null")},
     fault{"meta_text", SET_ROOT("meta", "\"text\"")},
     fault{"id_text", SET("id", "\"33\"")},
     fault{"id_null", SET("id", "null")},
     fault{"id_array", SET("id", "[33]")},
     fault{"id_object", SET("id", "{}")},
     fault{"endianness_number", SET("endianness", "1")},
     fault{"endianness_null", SET("endianness", "null")},
     fault{"endianness_boolean", SET("endianness", "true")},
     fault{"trace_id_size_text", SET("trace_id_size", "\"4\"")},
     fault{"trace_id_size_null", SET("trace_id_size", "null")},
     fault{"descriptors_null", SET("trace_type_descriptors", "null")},
     fault{"descriptors_object", SET("trace_type_descriptors", "{}")},
     fault{"descriptors_text", SET("trace_type_descriptors", "\"peer_dump\"")},
     fault{"min_data_size_text", SET("min_data_size", "\"1\"")},
     fault{"min_data_size_null", SET("min_data_size", "null")},
     fault{"uuid_number", SET("uuid", "5")},
     fault{"uuid_null", SET("uuid", "null")},
     fault{"name_number", SET("name", "5")},
     fault{"name_null", SET("name", "null")},
     fault{"alias_number", SET("aliases", "[5]")},
     fault{"alias_text", SET("aliases", "[\"id\"]")},
     fault{"alias_array", SET("aliases", "[[5]]")},
     fault{"alias_id_text", SET("aliases", R"([{"id": "5"}])")},
     fault{"alias_id_null", SET("aliases", R"([{"id": null}])")},
     fault{"second_alias_id_object", SET("aliases", R"([{"id": 5}, {"id": {}}])")},
     fault{"buffer_text", SET_ROOT("buffers", "[\"ip\"]")},
     fault{"buffer_number", SET_ROOT("buffers", "[1]")},
     fault{"buffer_id_text", SET_ROOT("buffers", R"([{"id": "1", "name": "x"}])")},
     fault{"buffer_name_number", SET_ROOT("buffers", R"([{"id": 1, "name": 1}])")},
     fault{"peer_layer_id_text", SET_ROOT("peer_buffer_layers", R"([{"id": "1", "name": "x"}])")},
     fault{"peer_layer_name_null", SET_ROOT("peer_buffer_layers", R"([{"id": 1, "name": null}])")},
     fault{"peer_buffers_object", SET_ROOT("peer_buffers", "{}")},
     fault{"peer_buffers_null", SET_ROOT("peer_buffers", "null")},
     fault{"trace_number", SET_ROOT("traces", "[5]")},
     fault{"trace_text", SET_ROOT("traces", "[\"id\"]")},
     fault{"trace_id_text", SET_ROOT("traces", R"([{"id": "5"}])")},
     fault{"static_string_number", SET_ROOT("static_data", R"({"static_strings": [5]})")},
     fault{"static_string_id_text",
           SET_ROOT("static_data", R"({"static_strings": [{"id": "1", "value": "x"}]})")},
     fault{"static_string_value_number",
           SET_ROOT("static_data", R"({"static_strings": [{"id": 1, "value": 1}]})")},
     fault{"condition_trace_id_text",
           SET("trace_type_descriptors", R"([{"type": "x", "conditions": [{"trace_id": "1"}]}])")},
     fault{"condition_range_text",
           SET("trace_type_descriptors",
               R"([{"type": "x", "conditions": [{"id_range": {"max": "1", "min": 0}}]}])")},
     fault{"descriptor_type_number",
           SET("trace_type_descriptors", R"([{"type": 5, "conditions": [{"trace_id": 1}]}])")}});

class not_json_test : public database_fields_test, public test_support::given_value<const char*> {};

TEST_GIVEN(not_json_test, is_refused_with_the_general_message) {
  const auto path = directory.write("db.json", given()).string();
  EXPECT_EQ(init_failure(json{{"file_path", write_trace("")}, {"db_file_path", path}}),
            invalid_database);
}

GIVEN(texts, not_json_test,
      {"", " ", "{", "no json", "{} {}", "{\"meta\": }", "{\"meta\": {\"name\": \"\xFF\"}}",
       "/* comment */ {\"meta\": {}}", "\x1F\x8B\x08"});

TEST_F(database_fields_test, comments_in_a_sound_database_are_refused) {
  const auto path = directory.write("db.json", "// comment\n" + minimal_database().dump());
  EXPECT_EQ(init_failure(json{{"file_path", write_trace("")}, {"db_file_path", path.string()}}),
            invalid_database);
}

TEST_F(database_fields_test, text_behind_a_sound_database_is_refused) {
  const auto path = directory.write("db.json", minimal_database().dump() + "{}");
  EXPECT_EQ(init_failure(json{{"file_path", write_trace("")}, {"db_file_path", path.string()}}),
            invalid_database);
}

TEST_F(database_fields_test, blanks_around_a_database_do_not_matter) {
  const auto path = directory.write("db.json", "\r\n\t " + minimal_database().dump(2) + "\n");
  open({{"file_path", write_trace("")}, {"db_file_path", path.string()}});
}

TEST_F(database_fields_test, unknown_members_are_ignored) {
  auto database = minimal_database();
  database["version"] = 5;
  database["meta"]["vendor"] = {{"deep", {1, 2, 3}}};
  open_decoding("", database);
}

// --- trace_id_size ------------------------------------------------------------------------

class trace_id_size_test : public database_fields_test,
                           public test_support::given_value<const char*> {};

TEST_GIVEN(trace_id_size_test, above_4_is_refused_as_invalid) {
  auto database = minimal_database();
  database["meta"]["trace_id_size"] = json::parse(given());
  EXPECT_EQ(database_failure(database), invalid_database);
}

GIVEN(sizes, trace_id_size_test, {"5", "6", "8", "255", "256", "65536", "4294967295", "-1", "5.9"});

// --- the decoder's configuration -----------------------------------------------------------

TEST_F(database_fields_test, the_configuration_is_compact_with_ordered_members) {
  auto text = minimal_database().dump();
  const std::string compact = R"({"masters":[]})";
  text.replace(text.find(compact), compact.size(),
               "{ \"z\" : [ 1 , 2.5 , true , null ] ,\n \"masters\" : [ ] , \"a\" : \"b c\" }");
  const auto path = directory.write("db.json", text);
  open({{"file_path", write_trace("")}, {"db_file_path", path.string()}});
  EXPECT_EQ(decoder.calls_of(scripted_set_configuration_json).at(0).bytes,
            R"({"a":"b c","masters":[],"z":[1,2.5,true,null]})");
}

TEST_F(database_fields_test, non_ascii_text_in_the_configuration_stays_utf8) {
  auto database = minimal_database();
  database["meta"]["connection_configs"]["dekodrix_config"] =
      json::parse(R"({"k": "\u00e4\u65e5\ud83d\udce1"})");
  EXPECT_EQ(configuration_of(database), "{\"k\":\"\xC3\xA4\xE6\x97\xA5\xF0\x9F\x93\xA1\"}");
}

TEST_F(database_fields_test, a_configuration_without_masters_gets_none) {
  auto database = minimal_database();
  database["meta"]["connection_configs"]["dekodrix_config"] = {{"rate", 5}};
  EXPECT_EQ(configuration_of(database), R"({"rate":5})");
}

TEST_F(database_fields_test, an_older_configuration_without_masters_gets_none) {
  auto database = minimal_database();
  database["meta"].erase("connection_configs");
  database["meta"]["decoder_config"] = {{"rate", 5}};
  EXPECT_EQ(configuration_of(database), R"({"rate":5})");
}

TEST_F(database_fields_test, an_empty_configuration_is_a_configuration) {
  auto database = minimal_database();
  database["meta"]["connection_configs"]["dekodrix_config"] = json::object();
  EXPECT_EQ(configuration_of(database), "{}");
}

TEST_F(database_fields_test, the_newer_configuration_is_preferred) {
  auto database = minimal_database();
  database["meta"]["decoder_config"] = {{"from", "old"}};
  database["meta"]["connection_configs"]["dekodrix_config"] = {{"from", "new"}};
  EXPECT_EQ(configuration_of(database), R"({"from":"new"})");
}

TEST_F(database_fields_test, connection_configs_for_others_leave_the_older_configuration) {
  auto database = minimal_database();
  database["meta"]["decoder_config"] = {{"from", "old"}};
  database["meta"]["connection_configs"] = {{"another_config", json::object()}};
  EXPECT_EQ(configuration_of(database), R"({"from":"old"})");
}

TEST_F(database_fields_test, connection_configs_for_others_alone_are_no_configuration) {
  auto database = minimal_database();
  database["meta"]["connection_configs"] = {{"another_config", json::object()}};
  EXPECT_EQ(database_failure(database), "dekodrix config not found");
}

// --- buffers --------------------------------------------------------------------------------

TEST_F(database_fields_test, of_two_buffers_with_one_id_the_last_name_is_kept) {
  auto database = conversion_database();
  database["buffers"].push_back(json::parse(R"({"id": 1, "name": "TLS_SESSION_MASTER"})"));
  EXPECT_EQ(layer_of(database, build_trace({.buffer_id = "1"}, "x")), "session_master");
}

TEST_F(database_fields_test, a_buffer_id_may_be_a_fraction) {
  auto database = conversion_database();
  database["buffers"] = json::parse(R"([{"id": 1.9, "name": "EPDCP_UP_PACKET"}])");
  EXPECT_EQ(layer_of(database, build_trace({.buffer_id = "1"}, "x")), "ip");
}

TEST_F(database_fields_test, a_buffer_id_keeps_its_low_32_bits) {
  auto database = conversion_database();
  database["buffers"] = json::parse(R"([{"id": 4294967303, "name": "EPDCP_UP_PACKET"}])");
  EXPECT_EQ(layer_of(database, build_trace({.buffer_id = "7"}, "x")), "ip");
}

TEST_F(database_fields_test, a_negative_buffer_id_is_its_32_bits) {
  auto database = conversion_database();
  database["buffers"] = json::parse(R"([{"id": -1, "name": "EPDCP_UP_PACKET"}])");
  EXPECT_EQ(layer_of(database, build_trace({.buffer_id = "4294967295"}, "x")), "ip");
}

TEST_F(database_fields_test, no_buffers_make_no_network_packets) {
  auto database = conversion_database();
  database.erase("buffers");
  EXPECT_EQ(layer_of(database, build_trace({.buffer_id = "1"}, "x")), "");
}

// --- traces and static strings ----------------------------------------------------------------

TEST_F(database_fields_test, of_two_traces_with_one_id_the_first_is_kept) {
  auto database = conversion_database();
  database["traces"].push_back(json::parse(R"({"id": 200, "format": "nothing"})"));
  EXPECT_EQ(layer_of(database, build_trace({.id = id::formatted_at}, "x")), "at");
}

TEST_F(database_fields_test, of_two_traces_with_one_id_the_second_is_not_used) {
  auto database = conversion_database();
  auto second = database["traces"][0];
  database["traces"][0]["format"] = "nothing";
  database["traces"].push_back(second);
  EXPECT_EQ(layer_of(database, build_trace({.id = id::formatted_at}, "x")), "");
}

TEST_F(database_fields_test, of_two_static_strings_with_one_id_the_first_is_kept) {
  auto database = conversion_database();
  database["static_data"]["static_strings"].push_back(json::parse(R"({"id": 900, "value": "<="})"));
  const auto packets = convert(database, {build_trace({.id = id::formatted_at}, "x")});
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets.front().data.substr(0, 2), "AT");
}

// --- type_mapping ---------------------------------------------------------------------------

struct mapping {
  const char* value;
  bool by_id;
};

void PrintTo(const mapping& value, std::ostream* out) {
  *out << value.value;
}

class type_mapping_test : public database_fields_test, public test_support::given_value<mapping> {};

TEST_GIVEN(type_mapping_test, is_by_id_only_for_the_text_id) {
  auto database = conversion_database();
  database["meta"]["type_mapping"] = json::parse(given().value);
  EXPECT_EQ(layer_of(database, build_trace({.id = id::peer_dump, .buffer_id = "4"}, "OK")),
            given().by_id ? "at" : "");
}

GIVEN(values, type_mapping_test,
      {mapping{"\"id\"", true}, mapping{"\"ID\"", false}, mapping{"[\"id\"]", false},
       mapping{"\"id \"", false}, mapping{"\"\"", false}, mapping{"null", false},
       mapping{"true", false}, mapping{"1", false}, mapping{"{\"id\": \"id\"}", false}});

TEST_F(database_fields_test, without_type_mapping_no_type_is_looked_up) {
  auto database = conversion_database();
  database["meta"].erase("type_mapping");
  EXPECT_EQ(layer_of(database, build_trace({.id = id::peer_dump, .buffer_id = "4"}, "OK")), "");
}

// --- trace_type_descriptors -----------------------------------------------------------------

struct matching {
  const char* name;
  const char* descriptors;
  std::uint32_t trace_id;
  bool is_peer_dump;
};

void PrintTo(const matching& value, std::ostream* out) {
  *out << value.name;
}

class descriptor_test : public database_fields_test, public test_support::given_value<matching> {};

TEST_GIVEN(descriptor_test, gives_the_type) {
  auto database = conversion_database();
  database["meta"]["trace_type_descriptors"] = json::parse(given().descriptors);
  EXPECT_EQ(layer_of(database, build_trace({.id = given().trace_id, .buffer_id = "4"}, "OK")),
            given().is_peer_dump ? "at" : "");
}

constexpr auto range =
    R"([{"type": "peer_dump", "conditions": [{"id_range": {"max": 20, "min": 10}}]}])";
constexpr auto both =
    R"([{"type": "peer_dump", "conditions": [
          {"trace_id": 5, "id_range": {"max": 20, "min": 10}}]}])";
constexpr auto several =
    R"([{"type": "peer_dump", "conditions": [
          {"trace_id": 5}, {"other": 1}, {}, {"id_range": {"max": 20, "min": 10}}]}])";
constexpr auto overlap =
    R"([{"type": "other", "conditions": [{"trace_id": 15}]},
        {"type": "peer_dump", "conditions": [{"id_range": {"max": 20, "min": 10}}]},
        {"type": "other", "conditions": [{"id_range": {"max": 30, "min": 18}}]}])";
constexpr auto full =
    R"([{"type": "peer_dump", "conditions": [{"id_range": {"max": 4294967295, "min": 0}}]}])";
constexpr auto reversed =
    R"([{"type": "peer_dump", "conditions": [{"id_range": {"max": 10, "min": 20}}]}])";
constexpr auto capitals = R"([{"type": "Peer_Dump", "conditions": [{"trace_id": 5}]}])";
constexpr auto longer = R"([{"type": "peer_dump2", "conditions": [{"trace_id": 5}]}])";

GIVEN(conditions, descriptor_test,
      {matching{"below_a_range", range, 9, false},
       matching{"start_of_a_range", range, 10, true},
       matching{"inside_a_range", range, 15, true},
       matching{"end_of_a_range", range, 20, true},
       matching{"above_a_range", range, 21, false},
       matching{"single_id_of_both", both, 5, true},
       matching{"range_of_both_is_not_used", both, 15, false},
       matching{"first_of_several", several, 5, true},
       matching{"last_of_several", several, 12, true},
       matching{"none_of_several", several, 0, false},
       matching{"earlier_single_id_wins", overlap, 15, false},
       matching{"earlier_range_wins", overlap, 18, true},
       matching{"later_range_beyond_the_earlier", overlap, 21, false},
       matching{"next_to_the_single_id", overlap, 14, true},
       matching{"full_range_lowest", full, 0, true},
       matching{"full_range_highest", full, 0xFFFFFFFF, true},
       matching{"reversed_range_is_empty", reversed, 15, false},
       matching{"reversed_range_has_no_ends", reversed, 10, false},
       matching{"type_in_capitals", capitals, 5, false},
       matching{"longer_type", longer, 5, false},
       matching{"no_descriptors", "[]", 5, false}});

}  // namespace
