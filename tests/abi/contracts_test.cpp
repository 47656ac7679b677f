// Broken contracts stop the process with the contract's text, in every build.
#include <gmock/gmock.h>

#include <cstddef>
#include <ostream>
#include <string>
#include <tuple>

#include "tests/support/source_fixture.h"
#include "tests/support/test_names.h"
#include "tests/support/this_process.h"

namespace {

using kovax::json;
using test_support::aborted;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using testing::HasSubstr;

constexpr auto strict_access = "it != m_value.object->end()";
constexpr auto conditions = R"(element.contains("conditions"))";
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
                               public testing::WithParamInterface<broken_database> {};

TEST_P(database_contract_test, stops_the_process) {
  auto database = conversion_database();
  GetParam().apply(database);
  const json parameters = {{"file_path", write_trace("")},
                           {"db_file_path", write_database(database)}};
  EXPECT_EXIT(session.init(parameters), aborted, HasSubstr(GetParam().contract));
}

INSTANTIATE_TEST_SUITE_P(
    databases, database_contract_test,
    testing::Values(
        broken_database{"alias_without_id",
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
        broken_database{"descriptor_without_conditions",
                        [](json& d) { d["meta"]["trace_type_descriptors"][0].erase("conditions"); },
                        conditions},
        broken_database{"last_descriptor_without_conditions",
                        [](json& d) { d["meta"]["trace_type_descriptors"][2].erase("conditions"); },
                        conditions},
        broken_database{
            "empty_descriptor",
            [](json& d) { d["meta"]["trace_type_descriptors"].push_back(json::object()); },
            conditions}),
    [](const auto& information) { return std::string(information.param.name); });

// --- members that may be missing ----------------------------------------------------------

struct sound_database {
  const char* name;
  void (*apply)(json& database);
};

void PrintTo(const sound_database& value, std::ostream* out) {
  *out << value.name;
}

class no_contract_test : public contracts_test,
                         public testing::WithParamInterface<sound_database> {};

TEST_P(no_contract_test, is_accepted) {
  auto database = conversion_database();
  GetParam().apply(database);
  open_decoding("", database);
}

INSTANTIATE_TEST_SUITE_P(
    databases, no_contract_test,
    testing::Values(
        sound_database{"another_master_without_aliases",
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
        sound_database{"no_optional_table",
                       [](json& d) {
                         for (const char* key : {"buffers", "peer_buffer_layers", "peer_buffers",
                                                 "traces", "static_data"}) {
                           d.erase(key);
                         }
                       }}),
    [](const auto& information) { return std::string(information.param.name); });

// --- while traces are converted ----------------------------------------------------------

class width_contract_test
    : public contracts_test,
      public testing::WithParamInterface<std::tuple<std::size_t, const char*>> {};

TEST_P(width_contract_test, stops_the_process) {
  const auto& [item, size] = GetParam();
  auto database = conversion_database();
  database["traces"][1]["format_items"][item]["size"] = json::parse(size);
  decoder.add_trace(1, database_master,
                    build_trace({.id = test_support::id::formatted_dropped}, "0123456789"));
  open_decoding("x", database);
  EXPECT_EXIT(session.start(), aborted, HasSubstr(width));
}

INSTANTIATE_TEST_SUITE_P(widths, width_contract_test,
                         testing::Combine(testing::Values(std::size_t{1}, std::size_t{2}),
                                          testing::Values("5", "8", "255", "4294967295")),
                         test_support::named_by_value());

TEST_F(contracts_test, the_text_of_a_contract_ends_the_process_even_without_callbacks) {
  session.without_log = true;
  session.without_error = true;
  auto database = conversion_database();
  database["traces"][1].erase("id");
  const json parameters = {{"file_path", write_trace("")},
                           {"db_file_path", write_database(database)}};
  EXPECT_EXIT(session.init(parameters), aborted, HasSubstr(strict_access));
}

}  // namespace
