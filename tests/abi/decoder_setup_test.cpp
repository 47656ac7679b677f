// How a decoder is made and configured, and from which of several records.
#include <string>
#include <utility>
#include <vector>

#include "tests/support/source_fixture.h"
#include "tests/support/tar_builder.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::minimal_database;
using test_support::tar_archive;
using testing::ElementsAre;

class decoder_setup_test : public test_support::source_fixture {
 protected:
  std::string configuration() const {
    const auto calls = decoder.calls_of(scripted_set_configuration_json);
    return calls.size() == 1 ? calls.front().bytes : "not configured once";
  }

  static json database_named(const char* name, const char* configuration = nullptr) {
    auto database = minimal_database();
    database["meta"]["name"] = name;
    database["meta"].erase("connection_configs");
    if (configuration != nullptr) {
      database["meta"]["decoder_config"] = {{"from", configuration}};
    }
    return database;
  }

  json archive_parameters(const std::vector<json>& databases) {
    std::vector<std::pair<std::string, std::string>> files;
    for (const auto& database : databases) {
      files.emplace_back("db" + std::to_string(files.size()) + ".json", database.dump());
    }
    const auto path =
        directory.write("db.tar.gz", test_support::compress(tar_archive(files))).string();
    return {{"file_path", write_trace("abc")}, {"db_file_path", path}};
  }
};

// --- the calls ---------------------------------------------------------------------------

TEST_F(decoder_setup_test, makes_sets_resets_and_configures_in_this_order) {
  open_decoding("");
  EXPECT_THAT(decoder.sequence(), ElementsAre(scripted_new, scripted_set_timebase, scripted_reset,
                                              scripted_set_configuration_json));
}

TEST_F(decoder_setup_test, happens_once_within_init) {
  open_decoding("abc");
  EXPECT_EQ(decoder.call_count(), 4U);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_new).size(), 1U);
  EXPECT_EQ(decoder.calls_of(scripted_set_configuration_json).size(), 1U);
}

TEST_F(decoder_setup_test, all_calls_use_the_new_handle) {
  open_decoding("");
  const auto calls = decoder.calls();
  ASSERT_NE(calls.at(0).handle, nullptr);
  for (const auto& call : calls) EXPECT_EQ(call.handle, calls[0].handle);
}

TEST_F(decoder_setup_test, the_timebase_is_0_and_true) {
  open_decoding("");
  const auto calls = decoder.calls_of(scripted_set_timebase);
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls.front().number, 0U);
  EXPECT_TRUE(calls.front().flag);
}

TEST_F(decoder_setup_test, the_configuration_is_given_with_its_length_in_bytes) {
  auto database = minimal_database();
  database["meta"]["connection_configs"]["dekodrix_config"] = {{"k", "\xC3\xA4"}};
  open_decoding("", database);
  EXPECT_EQ(configuration(), "{\"k\":\"\xC3\xA4\"}");
}

// --- names -------------------------------------------------------------------------------

TEST_F(decoder_setup_test, a_database_without_a_name_is_the_mcus) {
  open_decoding("");
  EXPECT_EQ(configuration(), R"({"masters":[]})");
}

TEST_F(decoder_setup_test, a_database_named_m4_alone_configures_the_decoder) {
  open_decoding("", database_named("M4", "m4"));
  EXPECT_EQ(configuration(), R"({"from":"m4"})");
}

class refused_name_test : public decoder_setup_test,
                          public test_support::given_value<const char*> {};

TEST_GIVEN(refused_name_test, is_not_a_core_that_configures_a_decoder) {
  EXPECT_EQ(database_failure(database_named(given(), "x")), "dekodrix config not found");
}

GIVEN(names, refused_name_test,
      {"mcu", "Mcu", "MC", "MCU ", " MCU", "MCU2", "m4", "M", "M44", "", "APP"});

TEST_F(decoder_setup_test, a_name_with_a_nul_in_it_is_another_name) {
  auto database = database_named("", "x");
  database["meta"]["name"] = std::string("MCU\0", 4);
  EXPECT_EQ(database_failure(database), "dekodrix config not found");
}

TEST_F(decoder_setup_test, of_mcu_and_m4_the_mcu_is_used) {
  open(archive_parameters({database_named("MCU", "mcu"), database_named("M4", "m4")}));
  EXPECT_EQ(configuration(), R"({"from":"mcu"})");
}

TEST_F(decoder_setup_test, of_m4_and_mcu_the_mcu_is_used) {
  open(archive_parameters({database_named("M4", "m4"), database_named("MCU", "mcu")}));
  EXPECT_EQ(configuration(), R"({"from":"mcu"})");
}

TEST_F(decoder_setup_test, an_mcu_without_configuration_gives_way_to_m4) {
  open(archive_parameters({database_named("MCU"), database_named("M4", "m4")}));
  EXPECT_EQ(configuration(), R"({"from":"m4"})");
}

TEST_F(decoder_setup_test, of_two_mcus_the_first_is_used) {
  open(archive_parameters({database_named("MCU", "first"), database_named("MCU", "second")}));
  EXPECT_EQ(configuration(), R"({"from":"first"})");
}

TEST_F(decoder_setup_test, a_first_mcu_without_configuration_hides_the_second) {
  EXPECT_EQ(
      init_failure(archive_parameters({database_named("MCU"), database_named("MCU", "second")})),
      "dekodrix config not found");
}

TEST_F(decoder_setup_test, a_first_mcu_without_configuration_hides_the_second_but_not_m4) {
  open(archive_parameters(
      {database_named("MCU"), database_named("MCU", "second"), database_named("M4", "m4")}));
  EXPECT_EQ(configuration(), R"({"from":"m4"})");
}

TEST_F(decoder_setup_test, other_cores_are_passed_over) {
  open(archive_parameters({database_named("APP", "app"), database_named("MCU", "mcu")}));
  EXPECT_EQ(configuration(), R"({"from":"mcu"})");
}

TEST_F(decoder_setup_test, a_database_without_any_configuration_is_refused) {
  EXPECT_EQ(database_failure(database_named("MCU")), "dekodrix config not found");
}

// --- several records ------------------------------------------------------------------------

TEST_F(decoder_setup_test, the_uuid_is_that_of_the_last_record) {
  auto first = minimal_database();
  auto second = database_named("M4", "m4");
  first["meta"]["uuid"] = "first";
  second["meta"]["uuid"] = "second";
  open(archive_parameters({first, second}));
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(json::parse(session.packets.at(0).metadata).at("modem_db_uuid"), "second");
}

TEST_F(decoder_setup_test, a_last_record_without_uuid_makes_it_unknown) {
  auto second = database_named("M4", "m4");
  second["meta"].erase("uuid");
  open(archive_parameters({minimal_database(), second}));
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(json::parse(session.packets.at(0).metadata).at("modem_db_uuid"), "UUID_UNKNOWN");
}

// The name of the buffer shows which record converts.
json record_with_layer(std::uint32_t id, const char* name, const char* buffer_name) {
  auto database = conversion_database();
  database["meta"]["id"] = id;
  database["meta"]["name"] = name;
  database["buffers"] = json::parse(R"([{"id": 1}])");
  database["buffers"][0]["name"] = buffer_name;
  return database;
}

TEST_F(decoder_setup_test, the_first_record_that_accepts_a_master_converts_its_traces) {
  open(archive_parameters({record_with_layer(database_master, "MCU", "EPDCP_UP_PACKET"),
                           record_with_layer(database_master, "M4", "TLS_SESSION_MASTER")}));
  decoder.add_trace(1, database_master, build_trace({.buffer_id = "1"}, "x"));
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.decoded().size(), 1U);
  EXPECT_EQ(session.decoded().front().format, "ip");
}

TEST_F(decoder_setup_test, each_master_is_converted_by_its_own_record) {
  open(archive_parameters({record_with_layer(1, "MCU", "EPDCP_UP_PACKET"),
                           record_with_layer(2, "M4", "TLS_SESSION_MASTER")}));
  decoder.add_trace(1, 2, build_trace({.buffer_id = "1"}, "x"));
  decoder.add_trace(1, 1, build_trace({.buffer_id = "1"}, "x"));
  EXPECT_EQ(session.start(), 0);
  const auto decoded = session.decoded();
  ASSERT_EQ(decoded.size(), 2U);
  EXPECT_EQ(decoded[0].format, "session_master");
  EXPECT_EQ(decoded[1].format, "ip");
}

TEST_F(decoder_setup_test, an_alias_of_an_earlier_record_comes_before_the_id_of_a_later_one) {
  auto first = record_with_layer(1, "MCU", "EPDCP_UP_PACKET");
  first["meta"]["aliases"] = json::parse(R"([{"id": 2}])");
  open(archive_parameters({first, record_with_layer(2, "M4", "TLS_SESSION_MASTER")}));
  decoder.add_trace(1, 2, build_trace({.buffer_id = "1"}, "x"));
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.decoded().size(), 1U);
  EXPECT_EQ(session.decoded().front().format, "ip");
}

TEST_F(decoder_setup_test, records_without_a_known_name_convert_too) {
  open(archive_parameters({record_with_layer(1, "APP", "TLS_SESSION_MASTER"),
                           record_with_layer(2, "MCU", "EPDCP_UP_PACKET")}));
  decoder.add_trace(1, 1, build_trace({.buffer_id = "1"}, "x"));
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.decoded().size(), 1U);
  EXPECT_EQ(session.decoded().front().format, "session_master");
}

// --- file names ---------------------------------------------------------------------------

class refused_extension_test : public decoder_setup_test,
                               public test_support::given_value<const char*> {};

TEST_GIVEN(refused_extension_test, needs_to_be_gz_or_json) {
  const auto path = directory.write(given(), minimal_database().dump()).string();
  EXPECT_EQ(init_failure(json{{"file_path", write_trace("x")}, {"db_file_path", path}}),
            "Database file extension needs to be .gz or .json");
  EXPECT_EQ(decoder.call_count(), 0U);
}

GIVEN(names, refused_extension_test,
      {"db.JSON", "db.Json", "db.GZ", "db.json.bak", "db.gz.old", "db", "db.", "db.json.", "db.jso",
       "db.jsonx", "db.tgz", "db.tar", "db.zip", ".json", ".gz", "json", "db.json ", "db.json/db"});

class accepted_name_test : public decoder_setup_test,
                           public test_support::given_value<const char*> {};

TEST_GIVEN(accepted_name_test, is_read_as_json) {
  const auto path = directory.write(given(), minimal_database().dump()).string();
  open({{"file_path", write_trace("x")}, {"db_file_path", path}});
  EXPECT_EQ(configuration(), R"({"masters":[]})");
}

GIVEN(names, accepted_name_test,
      {"db.json", "db.gz.json", "db.tar.gz.json", "a b.json", "..json", "d\xC3\xA4t.json",
       ".hidden.json"});

class accepted_archive_name_test : public decoder_setup_test,
                                   public test_support::given_value<const char*> {};

TEST_GIVEN(accepted_archive_name_test, is_read_as_an_archive) {
  const auto archive =
      test_support::compress(tar_archive({{"db.json", minimal_database().dump()}}));
  const auto path = directory.write(given(), archive).string();
  open({{"file_path", write_trace("x")}, {"db_file_path", path}});
  EXPECT_EQ(configuration(), R"({"masters":[]})");
}

GIVEN(names, accepted_archive_name_test, {"db.tar.gz", "db.gz", "db.json.gz", "db.GZ.gz"});

}  // namespace
