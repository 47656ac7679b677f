// The ids under which a database accepts traces: its own, its aliases, and the
// aliases of its masters.
#include <cstdint>
#include <ostream>
#include <string>

#include "tests/support/source_fixture.h"
#include "tests/support/test_names.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;

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

  static constexpr auto invalid_database = "Trace database has missing fields or is invalid";
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

class id_number_test : public database_masters_test, public testing::WithParamInterface<number> {};

TEST_P(id_number_test, is_read_as_an_unsigned_32_bit_number) {
  meta["id"] = json::parse(GetParam().text);
  EXPECT_TRUE(accepts(GetParam().value));
  EXPECT_FALSE(accepts(GetParam().value ^ 1U));
}

INSTANTIATE_TEST_SUITE_P(values, id_number_test,
                         testing::Values(number{"0", 0}, number{"33.9", 33},
                                         number{"4294967295", 4294967295}, number{"4294967301", 5},
                                         number{"-1", 4294967295}, number{"-4294967290", 6}),
                         test_support::named_by_value());

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
                            public testing::WithParamInterface<const char*> {};

TEST_P(master_aliases_test, must_be_an_array_of_numbers) {
  json master = {{"id", 33}};
  master["aliases"] = json::parse(GetParam());
  meta["decoder_config"]["masters"] = json::array();
  meta["decoder_config"]["masters"].push_back(master);
  EXPECT_EQ(refusal(), invalid_database);
}

INSTANTIATE_TEST_SUITE_P(values, master_aliases_test,
                         testing::Values("5", "\"5\"", "null", "{}", "{\"a\": 5}", "true",
                                         "[\"5\"]", "[null]", "[5, {}]"),
                         test_support::named_by_value());

TEST_F(database_masters_test, aliases_of_another_master_are_not_read) {
  meta["decoder_config"] = json::parse(R"({"masters": [{"id": 34, "aliases": "text"}]})");
  EXPECT_TRUE(accepts(database_master));
}

class master_test : public database_masters_test,
                    public testing::WithParamInterface<const char*> {};

TEST_P(master_test, must_be_an_object_with_a_numeric_id) {
  meta["decoder_config"]["masters"] = json::array();
  meta["decoder_config"]["masters"].push_back(json::parse(GetParam()));
  EXPECT_EQ(refusal(), invalid_database);
}

INSTANTIATE_TEST_SUITE_P(values, master_test,
                         testing::Values("5", "\"text\"", "[]", "true",
                                         R"({"id": "33", "aliases": []})",
                                         R"({"id": null, "aliases": []})"),
                         test_support::named_by_value());

}  // namespace
