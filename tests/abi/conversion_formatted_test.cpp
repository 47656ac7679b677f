// Formatted traces: AT strings and the warning about dropped traces.
#include <cstdint>
#include <ostream>
#include <string>

#include "tests/abi/conversion_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::number_bytes;
namespace id = test_support::id;

class conversion_formatted_test : public conversion_fixture {
 protected:
  json& definition = database["traces"][0];
  json& dropped = database["traces"][1];

  // A formatted AT trace with this text from its third byte on.
  std::string at(const std::string& text) {
    database["meta"]["trace_id_size"] = 2;
    return conversion_of(number_bytes(id::formatted_at, 2) + text);
  }

  // The warning's trace with these bytes behind its id.
  std::string warning(const std::string& bytes) {
    return conversion_of(number_bytes(id::formatted_dropped, 4) + bytes);
  }

  static std::string dropped_count(const char* count) {
    return std::string("at|network|Dropped traces count: ") + count;
  }
};

// --- AT strings --------------------------------------------------------------------------

TEST_F(conversion_formatted_test, an_arrow_out_gets_at_in_front) {
  EXPECT_EQ(at(std::string("+CFUN?\0", 7)), "at|network|AT+CFUN?");
}

struct arrow {
  const char* static_string;
  bool request;
};

void PrintTo(const arrow& value, std::ostream* out) {
  *out << value.static_string;
}

class arrow_test : public conversion_formatted_test, public test_support::given_value<arrow> {};

TEST_GIVEN(arrow_test, decides_about_the_at_in_front) {
  database["static_data"]["static_strings"][0]["value"] = given().static_string;
  EXPECT_EQ(at(std::string("OK\0", 3)), given().request ? "at|network|ATOK" : "at|network|OK");
}

GIVEN(strings, arrow_test,
      {arrow{"=>", true}, arrow{"<=", false}, arrow{"", false}, arrow{"=> ", false},
       arrow{" =>", false}, arrow{"=", false}, arrow{"==>", false}});

TEST_F(conversion_formatted_test, an_unknown_static_string_counts_as_empty) {
  definition["format_items"][0]["reference"] = 12345;
  EXPECT_EQ(at(std::string("OK\0", 3)), "at|network|OK");
}

TEST_F(conversion_formatted_test, a_database_without_static_strings_gives_plain_text) {
  database.erase("static_data");
  EXPECT_EQ(at(std::string("OK\0", 3)), "at|network|OK");
}

struct format_text {
  const char* format;
  bool at;
};

void PrintTo(const format_text& value, std::ostream* out) {
  *out << value.format;
}

class at_format_test : public conversion_formatted_test,
                       public test_support::given_value<format_text> {};

TEST_GIVEN(at_format_test, decides_whether_it_is_an_at_string) {
  definition["format"] = given().format;
  EXPECT_EQ(at(std::string("OK\0", 3)), given().at ? "at|network|ATOK" : "nothing");
}

GIVEN(formats, at_format_test,
      {format_text{"AT_STRING", true}, format_text{"x AT_STRING %s", true},
       format_text{"AT_DEBUG_STRING", true}, format_text{"[AT_DEBUG_STRING] %s", true},
       format_text{"AT_STRIN", false}, format_text{"", false}, format_text{"at_string", false},
       format_text{"AT_DEBUG", false}});

TEST_F(conversion_formatted_test, the_first_item_with_a_reference_is_used) {
  definition["format_items"] = json::parse(
      R"([{"size": 4}, {}, {"reference": 901}, {"reference": 900}, {"reference": "text"}])");
  EXPECT_EQ(at(std::string("OK\0", 3)), "at|network|OK");
}

TEST_F(conversion_formatted_test, without_a_reference_there_is_nothing) {
  definition["format_items"] = json::parse(R"([{"size": 4}, {}])");
  EXPECT_EQ(at(std::string("OK\0", 3)), "nothing");
}

TEST_F(conversion_formatted_test, without_items_there_is_nothing) {
  definition["format_items"] = json::array();
  EXPECT_EQ(at(std::string("OK\0", 3)), "nothing");
}

TEST_F(conversion_formatted_test, a_definition_without_format_items_gives_nothing) {
  definition.erase("format_items");
  EXPECT_EQ(at(std::string("OK\0", 3)), "nothing");
}

TEST_F(conversion_formatted_test, a_definition_without_format_gives_nothing) {
  definition.erase("format");
  EXPECT_EQ(at(std::string("OK\0", 3)), "nothing");
}

TEST_F(conversion_formatted_test, a_trace_without_a_definition_gives_nothing) {
  database["traces"].erase(0);
  EXPECT_EQ(at(std::string("OK\0", 3)), "nothing");
}

TEST_F(conversion_formatted_test, a_database_without_traces_gives_nothing) {
  database.erase("traces");
  EXPECT_EQ(at(std::string("OK\0", 3)), "nothing");
}

TEST_F(conversion_formatted_test, references_are_read_as_32_bit_numbers) {
  definition["format_items"] = json::parse(R"([{"reference": 4294968196}])");
  EXPECT_EQ(at(std::string("OK\0", 3)), "at|network|ATOK");
}

TEST_F(conversion_formatted_test, a_reference_may_be_a_fraction) {
  definition["format_items"] = json::parse(R"([{"reference": 900.7}])");
  EXPECT_EQ(at(std::string("OK\0", 3)), "at|network|ATOK");
}

TEST_F(conversion_formatted_test, the_text_ends_at_its_nul) {
  EXPECT_EQ(at(std::string("OK\0ERROR\0", 9)), "at|network|ATOK");
}

TEST_F(conversion_formatted_test, a_text_without_nul_ends_with_the_trace) {
  EXPECT_EQ(at("+CSQ: 20,99"), "at|network|AT+CSQ: 20,99");
}

TEST_F(conversion_formatted_test, a_text_of_one_byte) {
  EXPECT_EQ(at("A"), "at|network|ATA");
}

TEST_F(conversion_formatted_test, the_text_starts_at_byte_2_whatever_the_id_size) {
  // Four bytes of id, of which the last two are the start of the text: a NUL
  // ends it at once.
  EXPECT_EQ(conversion_of(number_bytes(id::formatted_at, 4) + "OK"), "at|network|AT");
}

TEST_F(conversion_formatted_test, with_a_wide_id_the_text_holds_its_upper_half) {
  const std::uint32_t wide_id = 0x41420000 + id::formatted_at;
  database["meta"]["trace_type_descriptors"] =
      json::parse(R"([{"type": "formatted", "conditions": [{"trace_id": 0}]}])");
  database["meta"]["trace_type_descriptors"][0]["conditions"][0]["trace_id"] = wide_id;
  definition["id"] = wide_id;
  EXPECT_EQ(conversion_of(number_bytes(wide_id, 4) + std::string("CD\0", 3)), "at|network|ATBACD");
}

TEST_F(conversion_formatted_test, a_trace_that_ends_before_byte_2_has_an_empty_text) {
  database["meta"]["trace_id_size"] = 1;
  database["meta"]["trace_type_descriptors"] =
      json::parse(R"([{"type": "formatted", "conditions": [{"trace_id": 77}]}])");
  definition["id"] = 77;
  EXPECT_EQ(conversion_of(std::string("\x4D\x01", 2)), "at|network|AT");
}

// --- the warning about dropped traces -------------------------------------------------------

TEST_F(conversion_formatted_test, kernel_3_and_user_4_make_7) {
  EXPECT_EQ(warning(std::string("\3\0\4\0", 4)), dropped_count("7"));
}

TEST_F(conversion_formatted_test, the_warning_is_an_at_packet_of_the_network) {
  const auto packet =
      packet_of(number_bytes(id::formatted_dropped, 4) + std::string("\3\0\4\0", 4));
  ASSERT_TRUE(packet.has_value());
  EXPECT_EQ(packet->format, "at");
  EXPECT_EQ(packet->category, "network");
  EXPECT_EQ(packet->data, "Dropped traces count: 7");
  EXPECT_EQ(packet->field_32, 1U);
  EXPECT_EQ(packet->timestamp, 1U);
}

struct counting {
  const char* name;
  const char* items;
  const char* bytes;
  std::size_t size;
  const char* count;
};

void PrintTo(const counting& value, std::ostream* out) {
  *out << value.name;
}

class dropped_count_test : public conversion_formatted_test,
                           public test_support::given_value<counting> {};

TEST_GIVEN(dropped_count_test, is_the_sum_of_both_values) {
  dropped["format_items"] = json::parse(given().items);
  EXPECT_EQ(warning(std::string(given().bytes, given().size)), dropped_count(given().count));
}

#define ITEMS(offset, kernel, user) \
  R"([{"size": )" offset R"(}, {"size": )" kernel R"(}, {"size": )" user "}]"

GIVEN(values, dropped_count_test,
      {counting{"bytes", ITEMS("4", "1", "1"), "\x05\x06", 2, "11"},
       counting{"different_widths", ITEMS("4", "1", "4"), "\x05\x01\x02\x00\x00", 5, "518"},
       counting{"three_bytes", ITEMS("4", "3", "1"), "\x00\x00\x01\x01", 4, "65537"},
       counting{"four_bytes", ITEMS("4", "4", "4"), "\x00\x00\x00\x01\x00\x00\x00\x02", 8,
                "50331648"},
       counting{"wraps_at_32_bits", ITEMS("4", "4", "4"), "\xFF\xFF\xFF\xFF\x03\x00\x00\x00", 8,
                "2"},
       counting{"largest", ITEMS("4", "4", "1"), "\xFF\xFF\xFF\xFF\x00", 5, "4294967295"},
       counting{"no_width_at_all", ITEMS("4", "0", "0"), "\x05\x06", 2, "0"},
       counting{"kernel_without_width", ITEMS("4", "0", "2"), "\x05\x00\x06\x00", 4, "5"},
       counting{"user_without_width", ITEMS("4", "2", "0"), "\x05\x00\x06\x00", 4, "5"},
       counting{"values_further_on", ITEMS("6", "2", "2"), "\xFF\xFF\x03\x00\x04\x00", 6, "7"},
       counting{"values_from_the_start", ITEMS("0", "1", "1"), "\x00\x00", 2, "201"},
       counting{"more_items", R"([{"size": 4}, {"size": 1}, {"size": 1}, {"size": 99}, 5])",
                "\x05\x06", 2, "11"},
       counting{"fractions", ITEMS("4.9", "1.5", "1.1"), "\x05\x06", 2, "11"},
       // what lies beyond the trace reads as nothing
       counting{"user_beyond_the_end", ITEMS("4", "2", "2"), "\x05\x00", 2, "5"},
       counting{"both_beyond_the_end", ITEMS("100", "2", "2"), "\x05\x00\x06\x00", 4, "0"},
       counting{"offset_of_32_bits", ITEMS("4294967295", "4", "4"), "\x05\x00\x06\x00", 4, "0"},
       counting{"offset_at_the_end", ITEMS("8", "2", "2"), "\x05\x00\x06\x00", 4, "0"}});

TEST_F(conversion_formatted_test, the_counts_are_not_swapped_for_a_big_endian_database) {
  database["meta"]["endianness"] = "big";
  EXPECT_EQ(
      conversion_of(number_bytes(id::formatted_dropped, 4, true) + std::string("\3\0\4\0", 4)),
      dropped_count("7"));
}

struct near_miss {
  const char* name;
  void (*apply)(json& definition);
};

void PrintTo(const near_miss& value, std::ostream* out) {
  *out << value.name;
}

class no_warning_test : public conversion_formatted_test,
                        public test_support::given_value<near_miss> {};

TEST_GIVEN(no_warning_test, gives_nothing) {
  given().apply(dropped);
  EXPECT_EQ(warning(std::string("\3\0\4\0", 4)), "nothing");
}

GIVEN(definitions, no_warning_test,
      {near_miss{"no_label", [](json& d) { d.erase("label"); }},
       near_miss{"another_label", [](json& d) { d["label"] = "TRACE_SYSTEM_WARNINGS"; }},
       near_miss{"a_label_in_small_letters", [](json& d) { d["label"] = "trace_system_warning"; }},
       near_miss{"a_label_that_is_not_a_text", [](json& d) { d["label"] = 5; }},
       near_miss{"another_format", [](json& d) { d["format"] = "Traces dropped"; }},
       near_miss{"text_before_the_format",
                 [](json& d) { d["format"] = " Traces dropped kernel: %hu user: %hu"; }},
       near_miss{"other_conversions",
                 [](json& d) { d["format"] = "Traces dropped kernel: %u user: %u"; }},
       near_miss{"two_items",
                 [](json& d) { d["format_items"] = json::parse(R"([{"size": 4}, {"size": 2}])"); }},
       near_miss{"no_items", [](json& d) { d["format_items"] = json::array(); }}});

TEST_F(conversion_formatted_test, text_behind_the_warnings_format_does_not_matter) {
  dropped["format"] = "Traces dropped kernel: %hu user: %hu (since boot)";
  EXPECT_EQ(warning(std::string("\3\0\4\0", 4)), dropped_count("7"));
}

TEST_F(conversion_formatted_test, an_at_format_comes_before_the_warning) {
  dropped["format"] = "Traces dropped kernel: %hu user: %hu AT_STRING";
  dropped["format_items"] =
      json::parse(R"([{"size": 4}, {"size": 2}, {"size": 2, "reference": 901}])");
  EXPECT_EQ(warning(std::string("\3\0\4\0", 4)), "at|network|");
}

TEST_F(conversion_formatted_test, a_warning_of_another_type_gives_nothing) {
  database["meta"]["trace_type_descriptors"][1]["type"] = "Formatted";
  EXPECT_EQ(warning(std::string("\3\0\4\0", 4)), "nothing");
}

TEST_F(conversion_formatted_test, without_type_mapping_there_is_no_warning) {
  database["meta"].erase("type_mapping");
  EXPECT_EQ(warning(std::string("\3\0\4\0", 4)), "nothing");
}

}  // namespace
