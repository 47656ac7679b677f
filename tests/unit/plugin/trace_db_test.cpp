#include "plugin/trace_db.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "plugin/trace_db_config.h"

namespace {

using kovax::json;
using veltra::database_collection;
using veltra::trace_db_config;

// --- one database --------------------------------------------------------------------

class trace_db : public ::testing::Test {
 protected:
  // The smallest database there is; tests add to it.
  json document = json::parse(R"({"meta": {
      "id": 3, "endianness": "little", "trace_id_size": 2, "trace_type_descriptors": []}})");

  const trace_db_config& process() { return process(document.dump()); }
  const trace_db_config& process(const std::string& text) {
    veltra::process_database_text(collection, {log, this}, text);
    return collection.configs().back();
  }

  json& meta() { return document["meta"]; }

  static void log(kovax_source* source, void* user_data, std::int32_t level, const char* text) {
    EXPECT_EQ(source, nullptr);
    EXPECT_EQ(level, 2);
    static_cast<trace_db*>(user_data)->logged.emplace_back(text);
  }

  // The message of the JSON library's type error, which the next stage replaces.
  std::string type_error() {
    try {
      process();
    } catch (const json::type_error& error) {
      return error.what();
    }
    return "no error";
  }

  database_collection collection;
  std::vector<std::string> logged;
};

using trace_db_death = trace_db;

TEST_F(trace_db, optional_parts_have_defaults) {
  const trace_db_config& config = process();
  EXPECT_EQ(config.id, 3U);
  EXPECT_EQ(config.trace_id_size, 2U);
  EXPECT_EQ(config.min_data_size, 1U);
  EXPECT_TRUE(config.little_endian);
  EXPECT_FALSE(config.aliases);
  EXPECT_EQ(config.ids, (std::set<std::uint32_t>{3}));
  EXPECT_TRUE(config.buffers.empty());
  EXPECT_FALSE(config.decoder_config);
  EXPECT_EQ(config.name, "MCU");
  EXPECT_TRUE(config.type_descriptors.empty());
  EXPECT_TRUE(config.peer_buffer_layers.empty());
  EXPECT_TRUE(config.peer_buffers.empty());
  EXPECT_TRUE(config.traces.empty());
  EXPECT_TRUE(config.static_strings.empty());
  EXPECT_FALSE(config.type_mapping_by_id);
  EXPECT_EQ(config.layer_name, "");
  EXPECT_EQ(collection.uuid, "UUID_UNKNOWN");
  EXPECT_EQ(logged, std::vector<std::string>{"processed config json: MCU"});
}

TEST_F(trace_db, only_the_exact_word_big_is_big_endian) {
  for (const char* word : {"BIG", "be", "", "little", "bigg"}) {
    meta()["endianness"] = word;
    EXPECT_TRUE(process().little_endian) << word;
  }
  meta()["endianness"] = "big";
  EXPECT_FALSE(process().little_endian);
}

TEST_F(trace_db, the_last_text_decides_the_uuid) {
  meta()["uuid"] = "first";
  process();
  meta()["uuid"] = "second";
  process();
  EXPECT_EQ(collection.uuid, "second");
  meta().erase("uuid");
  process();
  EXPECT_EQ(collection.uuid, "UUID_UNKNOWN");
  EXPECT_EQ(collection.configs().size(), 3U);
}

TEST_F(trace_db, ids_come_from_the_aliases_as_any_number) {
  meta()["aliases"] = json::parse(R"([{"id":4},{"id":5.9},{"id":true},{"id":-1}])");
  const trace_db_config& config = process();
  EXPECT_EQ(config.ids, (std::set<std::uint32_t>{1, 3, 4, 5, 4294967295U}));
  EXPECT_EQ(config.aliases, meta()["aliases"]);
}

TEST_F(trace_db, ids_come_from_every_master_with_the_databases_own_id) {
  meta()["decoder_config"]["masters"] = json::parse(
      R"([{"id":3,"aliases":[10]},{"id":4,"aliases":[20]},{"id":4},{"id":3,"aliases":[11,10]}])");
  EXPECT_EQ(process().ids, (std::set<std::uint32_t>{3, 10, 11}));
}

TEST_F(trace_db, masters_prefer_the_older_place_and_the_configuration_text_the_newer) {
  meta()["decoder_config"] = json::parse(R"({"masters":[{"id":3,"aliases":[10]}]})");
  meta()["connection_configs"]["dekodrix_config"] =
      json::parse(R"({"z":1,"masters":[{"id":3,"aliases":[20]}],"a":"é"})");
  const trace_db_config& config = process();
  EXPECT_EQ(config.ids, (std::set<std::uint32_t>{3, 10}));
  EXPECT_EQ(config.decoder_config, R"({"a":"é","masters":[{"aliases":[20],"id":3}],"z":1})");
}

TEST_F(trace_db, the_configuration_text_is_not_changed_by_looking_for_masters) {
  meta()["decoder_config"] = json::parse(R"({"other":1})");
  EXPECT_EQ(process().decoder_config, R"({"other":1})");
  meta()["connection_configs"]["something_else"] = 1;
  EXPECT_EQ(process().decoder_config, R"({"other":1})");
  meta().erase("decoder_config");
  EXPECT_EQ(process().decoder_config, std::nullopt);
}

TEST_F(trace_db, master_aliases_must_be_an_array) {
  meta()["decoder_config"]["masters"] = json::parse(R"([{"id":3,"aliases":"x"}])");
  EXPECT_NE(type_error().find("type must be array, but is string"), std::string::npos);
}

TEST_F(trace_db, type_mapping_is_by_id_only_for_the_string_id) {
  for (const char* other : {R"(["id"])", R"("ID")", "null", "1", R"({"id":1})"}) {
    meta()["type_mapping"] = json::parse(other);
    EXPECT_FALSE(process().type_mapping_by_id) << other;
  }
  meta()["type_mapping"] = "id";
  EXPECT_TRUE(process().type_mapping_by_id);
}

TEST_F(trace_db, conditions_are_kept_in_order_with_a_single_id_before_a_range) {
  meta()["trace_type_descriptors"] = json::parse(R"([
      {"type":"a","conditions":[{"trace_id":1},{"id_range":{"max":20,"min":10}},{"else":0}]},
      {"conditions":[{"else":0}]},
      {"type":"b","conditions":[{"trace_id":2,"id_range":{"max":9,"min":8}}]}])");
  const auto& found = process().type_descriptors;
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[0].type, "a");
  EXPECT_EQ(found[0].trace_id, 1U);
  EXPECT_FALSE(found[0].id_range);
  EXPECT_EQ(found[1].id_range->max, 20U);
  EXPECT_EQ(found[1].id_range->min, 10U);
  EXPECT_FALSE(found[1].trace_id);
  EXPECT_EQ(found[2].type, "b");
  EXPECT_EQ(found[2].trace_id, 2U);
  EXPECT_FALSE(found[2].id_range);
}

TEST_F(trace_db, the_last_name_of_a_buffer_and_the_first_trace_and_static_string_stay) {
  document["buffers"] = json::parse(R"([{"id":1,"name":"a"},{"id":1,"name":"b"}])");
  document["traces"] = json::parse(R"([{"id":1,"n":"a"},{"id":1,"n":"b"}])");
  document["static_data"]["static_strings"] =
      json::parse(R"([{"id":1,"value":"a"},{"id":1,"value":"b"}])");
  const trace_db_config& config = process();
  EXPECT_EQ(config.buffers.at(1), "b");
  EXPECT_EQ(config.traces.at(1), json::parse(R"({"id":1,"n":"a"})"));
  EXPECT_EQ(config.static_strings.at(1), "a");
}

TEST_F(trace_db, peer_buffer_layers_without_an_id_are_skipped) {
  document["peer_buffer_layers"] = json::parse(R"([{"name":"x"},{"id":7,"name":"rrc"},5])");
  document["peer_buffers"] = json::parse(R"([1,{"id":2}])");
  const trace_db_config& config = process();
  EXPECT_EQ(config.peer_buffer_layers, (std::map<std::uint32_t, std::string>{{7, "rrc"}}));
  EXPECT_EQ(config.peer_buffers, (std::vector<json>{1, {{"id", 2}}}));
}

TEST_F(trace_db, required_members_are_missed_as_null) {
  for (const char* key : {"id", "endianness", "trace_id_size", "trace_type_descriptors"}) {
    const json before = meta();
    meta().erase(key);
    EXPECT_NE(type_error().find("but is null"), std::string::npos) << key;
    meta() = before;
  }
  document = json::object();
  EXPECT_NE(type_error().find("but is null"), std::string::npos);
}

TEST_F(trace_db, a_text_that_fails_adds_nothing_and_logs_nothing) {
  process();
  meta()["name"] = 5;
  meta()["uuid"] = "new";
  EXPECT_THROW(process(), json::type_error);
  EXPECT_THROW(process("{"), json::parse_error);
  EXPECT_THROW(process("// no comments\n" + document.dump()), json::parse_error);
  EXPECT_EQ(collection.configs().size(), 1U);
  EXPECT_EQ(collection.uuid, "UUID_UNKNOWN");
  EXPECT_EQ(logged.size(), 1U);
}

TEST_F(trace_db, a_trace_id_of_more_than_4_bytes_is_refused) {
  meta()["trace_id_size"] = 5;
  EXPECT_THROW(process(), std::runtime_error);
}

TEST_F(trace_db_death, members_of_array_elements_must_be_there) {
  const auto breaks = [this](const char* pointer, const char* text) {
    const json before = document;
    document[json::json_pointer(pointer)] = json::parse(text);
    EXPECT_DEATH(process(), R"(it != m_value\.object->end\(\))") << pointer << ' ' << text;
    document = before;
  };
  breaks("/meta/aliases", R"([{}])");
  breaks("/meta/decoder_config/masters", R"([{"aliases":[]}])");
  breaks("/meta/decoder_config/masters", R"([{"id":3}])");
  breaks("/buffers", R"([{"id":1}])");
  breaks("/buffers", R"([{"name":"x"}])");
  breaks("/peer_buffer_layers", R"([{"id":1}])");
  breaks("/traces", R"([{}])");
  breaks("/static_data/static_strings", R"([{"value":"x"}])");
  breaks("/static_data/static_strings", R"([{"id":1}])");
  breaks("/meta/trace_type_descriptors", R"([{"conditions":[{"trace_id":1}]}])");
}

TEST_F(trace_db_death, a_descriptor_must_have_conditions) {
  meta()["trace_type_descriptors"] = json::parse(R"([{"type":"a"}])");
  EXPECT_DEATH(process(), R"(element\.contains\("conditions"\))");
}

TEST_F(trace_db, elements_that_are_no_objects_are_an_error_of_the_json_library) {
  for (const char* pointer : {"/meta/aliases", "/meta/decoder_config/masters", "/buffers",
                              "/traces", "/static_data/static_strings"}) {
    const json before = document;
    document[json::json_pointer(pointer)] = json::array({1});
    EXPECT_NE(type_error().find("cannot use operator[] with a string argument with number"),
              std::string::npos)
        << pointer;
    document = before;
  }
}

// --- the databases of one file -------------------------------------------------------

trace_db_config config(const char* name, std::set<std::uint32_t> ids,
                       std::optional<std::string> decoder_config) {
  trace_db_config made;
  made.name = name;
  made.ids = std::move(ids);
  made.decoder_config = std::move(decoder_config);
  return made;
}

TEST(database_collection, a_name_is_compared_exactly) {
  database_collection collection;
  collection.append(config("MCUX", {1}, "x"));
  collection.append(config("mcu", {1}, "lower"));
  EXPECT_EQ(collection.find_decoder_config("MCU"), std::nullopt);
  EXPECT_EQ(collection.find_decoder_config("mcu"), "lower");
}

TEST(database_collection, the_first_record_of_a_name_decides_even_without_a_configuration) {
  database_collection collection;
  collection.append(config("MCU", {1}, std::nullopt));
  collection.append(config("MCU", {2}, "second"));
  EXPECT_EQ(collection.find_decoder_config("MCU"), std::nullopt);
}

TEST(database_collection, a_master_belongs_to_the_first_record_that_has_its_id) {
  database_collection collection;
  collection.append(config("A", {1, 2}, std::nullopt));
  collection.append(config("B", {2, 3}, std::nullopt));
  EXPECT_EQ(collection.find_config_for_master(1)->name, "A");
  EXPECT_EQ(collection.find_config_for_master(2)->name, "A");
  EXPECT_EQ(collection.find_config_for_master(3)->name, "B");
  EXPECT_EQ(collection.find_config_for_master(4), nullptr);
}

}  // namespace
