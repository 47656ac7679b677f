// Databases that nothing can be done with: broken contracts stop the process with their\n// text,
// in every build; and nesting that is too deep is refused.
#include <gmock/gmock.h>

#include <cstddef>
#include <ostream>
#include <string>
#include <tuple>

#include "tests/abi/auto_detect_fixture.h"
#include "tests/abi/database_texts.h"
#include "tests/support/source_fixture.h"
#include "tests/support/tar_builder.h"
#include "tests/support/this_process.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::aborted;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::minimal_database;
using testing::EndsWith;
using testing::HasSubstr;

// --- broken contracts ----------------------------------------------------------------

constexpr auto width = "arg_len <= sizeof(new_arg)";

class contracts_test : public test_support::source_fixture {};

// --- while a database is read ----------------------------------------------------------

struct broken_database {
  const char* name;
  void (*apply)(json& database);
  const char* contract;
};

void PrintTo(const broken_database& value, std::ostream* out) {
  *out << value.name;
}

class database_contract_test : public contracts_test,
                               public test_support::given_value<broken_database> {};

TEST_GIVEN(database_contract_test, stops_the_process) {
  auto database = conversion_database();
  given().apply(database);
  const json parameters = {{"file_path", write_trace("")},
                           {"db_file_path", write_database(database)}};
  EXPECT_EXIT(session.init(parameters), aborted, HasSubstr(given().contract));
}

GIVEN(databases, database_contract_test,
      {broken_database{"alias_without_id",
                       [](json& d) { d["meta"]["aliases"] = json::parse("[{}]"); }, strict_access},
       broken_database{"alias_with_other_members_only",
                       [](json& d) { d["meta"]["aliases"] = json::parse(R"([{"ID": 5}])"); },
                       strict_access},
       broken_database{"master_without_id",
                       [](json& d) {
                         d["meta"]["decoder_config"] =
                             json::parse(R"({"masters": [{"aliases": [1]}]})");
                       },
                       strict_access},
       broken_database{"dekodrix_master_without_id",
                       [](json& d) {
                         d["meta"]["connection_configs"]["dekodrix_config"] =
                             json::parse(R"({"masters": [{"aliases": [1]}]})");
                       },
                       strict_access},
       broken_database{"own_master_without_aliases",
                       [](json& d) {
                         d["meta"]["decoder_config"] = json::parse(R"({"masters": [{"id": 33}]})");
                       },
                       strict_access},
       broken_database{"buffer_without_id", [](json& d) { d["buffers"][2].erase("id"); },
                       strict_access},
       broken_database{"buffer_without_name", [](json& d) { d["buffers"][2].erase("name"); },
                       strict_access},
       broken_database{"peer_layer_without_name",
                       [](json& d) { d["peer_buffer_layers"][1].erase("name"); }, strict_access},
       broken_database{"trace_without_id", [](json& d) { d["traces"][1].erase("id"); },
                       strict_access},
       broken_database{"static_string_without_id",
                       [](json& d) { d["static_data"]["static_strings"][0].erase("id"); },
                       strict_access},
       broken_database{"static_string_without_value",
                       [](json& d) { d["static_data"]["static_strings"][1].erase("value"); },
                       strict_access},
       broken_database{"descriptor_without_type",
                       [](json& d) { d["meta"]["trace_type_descriptors"][0].erase("type"); },
                       strict_access},
       broken_database{"range_descriptor_without_type",
                       [](json& d) { d["meta"]["trace_type_descriptors"][1].erase("type"); },
                       strict_access},
       broken_database{"descriptor_without_type_whose_trace_id_is_not_a_number_either",
                       [](json& d) {
                         d["meta"]["trace_type_descriptors"].push_back(
                             json::parse(R"({"conditions": [{"trace_id": "1"}]})"));
                       },
                       strict_access},
       broken_database{"descriptor_without_type_whose_range_is_not_a_range_either",
                       [](json& d) {
                         d["meta"]["trace_type_descriptors"].push_back(
                             json::parse(R"({"conditions": [{"id_range": {}}]})"));
                       },
                       strict_access},
       broken_database{"descriptor_without_conditions",
                       [](json& d) { d["meta"]["trace_type_descriptors"][0].erase("conditions"); },
                       conditions},
       broken_database{"last_descriptor_without_conditions",
                       [](json& d) { d["meta"]["trace_type_descriptors"][2].erase("conditions"); },
                       conditions},
       broken_database{
           "empty_descriptor",
           [](json& d) { d["meta"]["trace_type_descriptors"].push_back(json::object()); },
           conditions}});

// --- members that may be missing ----------------------------------------------------------

struct sound_database {
  const char* name;
  void (*apply)(json& database);
};

void PrintTo(const sound_database& value, std::ostream* out) {
  *out << value.name;
}

class no_contract_test : public contracts_test, public test_support::given_value<sound_database> {};

TEST_GIVEN(no_contract_test, is_accepted) {
  auto database = conversion_database();
  given().apply(database);
  open_decoding("", database);
}

GIVEN(databases, no_contract_test,
      {sound_database{"another_master_without_aliases",
                      [](json& d) {
                        d["meta"]["decoder_config"] = json::parse(R"({"masters": [{"id": 34}]})");
                      }},
       sound_database{"a_peer_layer_without_id_or_name",
                      [](json& d) { d["peer_buffer_layers"].push_back(json::object()); }},
       sound_database{"a_peer_layer_without_id",
                      [](json& d) { d["peer_buffer_layers"][0].erase("id"); }},
       sound_database{"a_descriptor_without_type_and_with_no_conditions",
                      [](json& d) {
                        d["meta"]["trace_type_descriptors"].push_back(
                            json::parse(R"({"conditions": []})"));
                      }},
       sound_database{"a_descriptor_without_type_whose_conditions_are_unused",
                      [](json& d) {
                        d["meta"]["trace_type_descriptors"].push_back(
                            json::parse(R"({"conditions": [{"other": 1}]})"));
                      }},
       sound_database{"static_data_without_static_strings",
                      [](json& d) { d["static_data"] = json::object(); }},
       sound_database{"no_optional_table", [](json& d) {
                        for (const char* key : {"buffers", "peer_buffer_layers", "peer_buffers",
                                                "traces", "static_data"}) {
                          d.erase(key);
                        }
                      }}});

// --- while traces are converted ----------------------------------------------------------

class width_contract_test : public contracts_test,
                            public test_support::given_value<std::tuple<std::size_t, const char*>> {
};

TEST_GIVEN(width_contract_test, stops_the_process) {
  const auto& [item, size] = given();
  auto database = conversion_database();
  database["traces"][1]["format_items"][item]["size"] = json::parse(size);
  decoder.add_trace(1, database_master,
                    build_trace({.id = test_support::id::formatted_dropped}, "0123456789"));
  open_decoding("x", database);
  EXPECT_EXIT(session.start(), aborted, HasSubstr(width));
}

GIVEN(widths, width_contract_test,
      test_support::every_pair<std::size_t, const char*>({1, 2}, {"5", "8", "255", "4294967295"}));

TEST_F(contracts_test, the_text_of_a_contract_ends_the_process_even_without_callbacks) {
  session.without_log = true;
  session.without_error = true;
  auto database = conversion_database();
  database["traces"][1].erase("id");
  const json parameters = {{"file_path", write_trace("")},
                           {"db_file_path", write_database(database)}};
  EXPECT_EXIT(session.init(parameters), aborted, HasSubstr(strict_access));
}

// --- nesting -------------------------------------------------------------------------

// Stands where the nested text goes: a document is not to be built that deep.
constexpr auto marker = "the nested text";
// Enough for any stack.
constexpr std::size_t bottomless = 1'000'000;

std::string arrays(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

std::string objects(std::size_t depth) {
  std::string text;
  for (std::size_t level = 1; level < depth; ++level) text += R"({"a":)";
  return text + "{}" + std::string(depth - 1, '}');
}

// `document` with `nested` in the marker's place.
std::string with_nested(const json& document, const std::string& nested) {
  std::string text = document.dump();
  const std::string placeholder = json(marker).dump();
  return text.replace(text.find(placeholder), placeholder.size(), nested);
}

// A member of a database that holds something nested, and the levels above it.
struct place {
  const char* name;
  void (*put)(json& database);
  std::size_t levels_above;
};

void PrintTo(const place& value, std::ostream* out) {
  *out << value.name;
}

class nested_database_test : public test_support::source_fixture,
                             public test_support::given_value<place> {
 protected:
  static std::string database(const std::string& nested) {
    auto document = minimal_database();
    given().put(document);
    return with_nested(document, nested);
  }

  json parameters(std::string_view name, std::string_view bytes) const {
    return {{"file_path", write_trace("")},
            {"db_file_path", directory.write(name, bytes).string()}};
  }
};

TEST_GIVEN(nested_database_test, is_refused_when_it_is_deeper_than_any_stack) {
  EXPECT_EQ(init_failure(parameters("db.json", database(arrays(bottomless)))), invalid_database);
}

TEST_GIVEN(nested_database_test, is_refused_for_objects_as_for_arrays) {
  EXPECT_EQ(init_failure(parameters("db.json", database(objects(bottomless)))), invalid_database);
}

TEST_GIVEN(nested_database_test, is_refused_in_an_archive) {
  const auto tar = test_support::tar_archive({{"db.json", database(arrays(bottomless))}});
  EXPECT_EQ(init_failure(parameters("db.tar.gz", test_support::compress(tar))), invalid_database);
}

TEST_GIVEN(nested_database_test, is_read_up_to_512_levels) {
  const std::size_t max_depth = 512 - given().levels_above;
  EXPECT_EQ(init_failure(parameters("db.json", database(arrays(max_depth + 1)))), invalid_database);
  session.errors.clear();
  open(parameters("db.json", database(arrays(max_depth))));
}

GIVEN(places, nested_database_test,
      {place{"configuration",
             [](json& d) { d["meta"]["connection_configs"]["dekodrix_config"]["x"] = marker; }, 4},
       place{"older_configuration",
             [](json& d) {
               d["meta"].erase("connection_configs");
               d["meta"]["decoder_config"]["x"] = marker;
             },
             3},
       place{"aliases",
             [](json& d) {
               d["meta"]["aliases"] = json::array({{{"id", 5}, {"x", marker}}});
             },
             4},
       place{"peer_buffers", [](json& d) { d["peer_buffers"] = json::array({marker}); }, 2},
       place{"traces",
             [](json& d) {
               d["traces"] = json::array({{{"id", 5}, {"x", marker}}});
             },
             3},
       place{"unknown_member", [](json& d) { d["x"] = marker; }, 1}});

class brackets_test : public test_support::source_fixture {};

TEST_F(brackets_test, inside_texts_are_not_nesting) {
  auto database = minimal_database();
  const std::string brackets(10'000, '[');
  database["meta"]["remark"] = brackets + "\"" + brackets + "\\";
  database[brackets] = 5;
  open_decoding("", database);
}

TEST_F(brackets_test, beside_each_other_are_not_nesting) {
  auto database = minimal_database();
  for (int i = 0; i < 10'000; ++i) database["remarks"].push_back({{"a", json::array()}});
  open_decoding("", database);
}

// --- what is not a database ---------------------------------------------------------------

class nested_parameters_test : public test_support::source_fixture,
                               public test_support::given_value<const char*> {};

TEST_GIVEN(nested_parameters_test, are_refused) {
  const json document = json::parse(given());
  for (const std::string& nested : {arrays(bottomless), objects(bottomless)}) {
    EXPECT_NE(init_failure(with_nested(document, nested)), "");
    session.errors.clear();
  }
}

GIVEN(members, nested_parameters_test,
      {R"({"x": "the nested text"})", R"({"file_path": "the nested text"})",
       R"({"db_file_path": "the nested text"})", R"({"chunk_size": "the nested text"})",
       R"({"serialport": "the nested text"})", R"({"serialport": {"path": "the nested text"}})",
       R"({"serialport": {"path": "COM3", "settings": {"parity": "the nested text"}}})",
       R"({"auto_detect_db_config": "the nested text"})",
       R"({"auto_detect_db_config": {"cache_directory": "the nested text"}})"});

TEST_F(brackets_test, in_unknown_parameters_do_no_harm) {
  open(json{{"file_path", write_trace("abc")}});
  session.release();
  const json parameters = {{"file_path", write_trace("abc")}, {"x", marker}};
  ASSERT_EQ(session.init(with_nested(parameters, arrays(bottomless))), 0);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "abc");
}

class nested_catalogue_test : public test_support::auto_detect_fixture {};

TEST_F(nested_catalogue_test, does_no_harm_beside_what_is_read) {
  offer("1.0", test_support::first_uuid);
  json catalogue = test_support::catalogue_of("2024-05-01 12:00:00", listed);
  catalogue["firmwares"]["devices"][0]["versions"][0]["x"] = marker;
  origin.write("config.json", with_nested(catalogue, arrays(bottomless)));
  open(parameters("x"));
  EXPECT_TRUE(std::filesystem::exists(
      in_cache(std::string("modem/1.0/") + test_support::first_uuid + "/1.0.json")));
}

TEST_F(nested_catalogue_test, is_refused_in_place_of_what_is_read) {
  offer("1.0", test_support::first_uuid);
  json catalogue = test_support::catalogue_of("2024-05-01 12:00:00", listed);
  catalogue["firmwares"]["devices"][0]["versions"][0]["version"] = marker;
  origin.write("config.json", with_nested(catalogue, arrays(bottomless)));
  EXPECT_THAT(init_failure(parameters("x")), EndsWith("type must be string, but is array"));
}

}  // namespace
