// The header of a trace, and AT commands in buffers of their own.
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/abi/conversion_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::number_bytes;

// --- headers -------------------------------------------------------------------------

class conversion_header_test : public conversion_fixture {
 protected:
  // Makes exactly this trace id one whose AT answer comes through.
  void accept_trace_id(std::uint32_t trace_id) {
    database["meta"]["trace_type_descriptors"] =
        json::parse(R"([{"type": "peer_dump", "conditions": [{"trace_id": 0}]}])");
    database["meta"]["trace_type_descriptors"][0]["conditions"][0]["trace_id"] = trace_id;
  }

  static constexpr auto found = "at|network|OK";
  static std::string body() { return std::string("OK\0", 3); }
};

// --- trace ids -------------------------------------------------------------------------

struct id_reading {
  unsigned size;
  const char* endianness;
  const char* bytes;
  std::uint32_t value;
};

void PrintTo(const id_reading& value, std::ostream* out) {
  *out << value.size << value.endianness;
}

class trace_id_test : public conversion_header_test,
                      public test_support::given_value<id_reading> {};

TEST_GIVEN(trace_id_test, is_read_in_the_databases_byte_order) {
  const auto& [size, endianness, bytes, value] = given();
  database["meta"]["trace_id_size"] = size;
  database["meta"]["endianness"] = endianness;
  accept_trace_id(value);
  std::string trace(bytes, size);
  trace += std::string("\0004\0", 3) + body();
  EXPECT_EQ(conversion_of(trace), found);
}

GIVEN(readings, trace_id_test,
      {id_reading{1, "little", "\xAB", 0xAB}, id_reading{1, "big", "\xAB", 0xAB},
       id_reading{2, "little", "\x01\x02", 0x0201}, id_reading{2, "big", "\x01\x02", 0x0102},
       id_reading{2, "big", "\xFF\xFE", 0xFFFE},
       // three bytes are taken unchanged
       id_reading{3, "little", "\x01\x02\x03", 0x030201},
       id_reading{3, "big", "\x01\x02\x03", 0x030201},
       id_reading{4, "little", "\x01\x02\x03\x04", 0x04030201},
       id_reading{4, "big", "\x01\x02\x03\x04", 0x01020304},
       id_reading{4, "big", "\xFF\xFE\xFD\xFC", 0xFFFEFDFC}, id_reading{0, "little", "", 0},
       id_reading{0, "big", "", 0}});

class endianness_test : public conversion_header_test,
                        public test_support::given_value<std::tuple<const char*, bool>> {};

TEST_GIVEN(endianness_test, is_big_only_for_the_word_big) {
  const auto& [word, big] = given();
  database["meta"]["endianness"] = word;
  accept_trace_id(big ? 0x01020304 : 0x04030201);
  EXPECT_EQ(conversion_of(std::string("\x01\x02\x03\x04\0004\0", 7) + body()), found);
}

GIVEN(words, endianness_test,
      {std::tuple("big", true), std::tuple("little", false), std::tuple("BIG", false),
       std::tuple("Big", false), std::tuple("be", false), std::tuple("", false),
       std::tuple("bi", false), std::tuple("bigger", false), std::tuple(" big", false),
       std::tuple("big ", false)});

TEST_F(conversion_header_test, big_with_a_nul_behind_it_is_little) {
  database["meta"]["endianness"] = std::string("big\0", 4);
  accept_trace_id(0x04030201);
  EXPECT_EQ(conversion_of(std::string("\x01\x02\x03\x04\0004\0", 7) + body()), found);
}

// --- short traces ---------------------------------------------------------------------

// Every cut of a good trace: nothing before the buffer id's text has ended.
class cut_trace_test : public conversion_header_test, public test_support::given_value<unsigned> {};

TEST_GIVEN(cut_trace_test, never_reads_past_its_end) {
  const unsigned id_size = given();
  database["meta"]["trace_id_size"] = id_size;
  const auto whole = build_trace({.id = 7, .buffer_id = "1", .id_size = id_size}, "body");
  std::vector<std::string> traces;
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    traces.push_back(whole.substr(0, length));
  }
  const auto packets = convert(database, traces);
  // The header is id, layer, "1" and a NUL; from there on it is an IP packet. One
  // byte less and the NUL is missing, so there is no buffer.
  const std::size_t header = id_size + 3;
  ASSERT_EQ(packets.size(), whole.size() - header + 1);
  for (std::size_t index = 0; index < packets.size(); ++index) {
    EXPECT_EQ(packets[index].data, std::string("body").substr(0, index));
  }
}

GIVEN(id_sizes, cut_trace_test, {0U, 1U, 2U, 3U, 4U});

TEST_F(conversion_header_test, a_trace_of_only_its_id_gives_nothing) {
  EXPECT_EQ(conversion_of(number_bytes(test_support::id::peer_dump, 4)), "nothing");
}

TEST_F(conversion_header_test, a_trace_of_id_and_layer_gives_nothing) {
  database["buffers"] = json::parse(R"([{"id": 0, "name": "EPDCP_UP_PACKET"}])");
  EXPECT_EQ(conversion_of(number_bytes(5, 4) + "\x07"), "nothing");
}

// --- buffer ids ------------------------------------------------------------------------

struct id_text {
  const char* text;
  std::uint32_t value;
};

void PrintTo(const id_text& value, std::ostream* out) {
  *out << value.text;
}

class buffer_id_test : public conversion_header_test, public test_support::given_value<id_text> {};

TEST_GIVEN(buffer_id_test, is_read_as_the_c_library_reads_an_unsigned_number) {
  database["buffers"] = json::parse(R"([{"id": 0, "name": "EPDCP_UP_PACKET"}])");
  database["buffers"][0]["id"] = given().value;
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = given().text}, "x")), "ip|network|x");
}

GIVEN(texts, buffer_id_test,
      {id_text{"5", 5}, id_text{"005", 5}, id_text{" 5", 5}, id_text{"\t\n\v\f\r 5", 5},
       id_text{"5 ", 5}, id_text{"5abc", 5}, id_text{"5.9", 5}, id_text{"+5", 5},
       id_text{"-1", 4294967295}, id_text{"-5", 4294967291}, id_text{"4294967295", 4294967295},
       id_text{"4294967296", 0}, id_text{"4294967301", 5},
       // beyond 64 bits the library's conversion stays at the largest number
       id_text{"18446744073709551615", 4294967295}, id_text{"18446744073709551616", 4294967295},
       id_text{"99999999999999999999999", 4294967295},
       id_text{"-99999999999999999999999", 4294967295}, id_text{"0x10", 0},
       // no number at all
       id_text{"", 0}, id_text{"abc", 0}, id_text{"x5", 0}, id_text{"+", 0}, id_text{"-", 0},
       id_text{"- 5", 0}, id_text{"+-5", 0}, id_text{"--5", 0}, id_text{" ", 0}});

TEST_F(conversion_header_test, an_unknown_buffer_id_gives_no_buffer_name) {
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = "999"}, "x")), "nothing");
}

TEST_F(conversion_header_test, a_buffer_id_text_of_254_characters_is_read) {
  const std::string text = std::string(253, '0') + "1";
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = text}, "x")), "ip|network|x");
}

TEST_F(conversion_header_test, a_buffer_id_text_of_255_characters_is_read) {
  const std::string text = std::string(254, '0') + "1";
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = text}, "x")), "ip|network|x");
}

TEST_F(conversion_header_test, a_longer_text_is_cut_and_one_byte_behind_the_cut_is_skipped) {
  // 255 characters are the text, the 256th is taken for its NUL.
  const std::string text = std::string(254, '0') + "1" + "Z";
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = text}, "x")),
            std::string("ip|network|") + std::string("\0x", 2));
}

TEST_F(conversion_header_test, an_unterminated_text_has_no_buffer_name) {
  EXPECT_EQ(conversion_of(number_bytes(5, 4) + std::string("\0001", 2)), "nothing");
}

TEST_F(conversion_header_test, an_unterminated_text_is_not_buffer_0_either) {
  database["buffers"] = json::parse(R"([{"id": 0, "name": "EPDCP_UP_PACKET"},
                                        {"id": 1, "name": "EPDCP_UP_PACKET"}])");
  EXPECT_EQ(conversion_of(number_bytes(5, 4) + std::string("\0001", 2)), "nothing");
}

TEST_F(conversion_header_test, the_body_may_hold_any_bytes) {
  const auto body = test_support::varied_bytes(3000);
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = "1"}, body)), "ip|network|" + body);
}

TEST_F(conversion_header_test, min_data_size_does_not_matter) {
  database["meta"]["min_data_size"] = 1000;
  EXPECT_EQ(conversion_of(build_trace({.buffer_id = "1"}, "x")), "ip|network|x");
}

// --- AT commands ---------------------------------------------------------------------

namespace id = test_support::id;

class conversion_at_test : public conversion_fixture {
 protected:
  std::string at(const std::string& buffer_name, const std::string& body) {
    database["buffers"] = json::parse(R"([{"id": 9}])");
    database["buffers"][0]["name"] = buffer_name;
    return conversion_of(build_trace({.id = id::peer_dump, .buffer_id = "9"}, body));
  }

  static std::string terminated(std::string text) { return text + '\0'; }
};

TEST_F(conversion_at_test, a_request_gets_at_in_front) {
  EXPECT_EQ(at("AT_STRING_REQ", terminated("+CFUN?")), "at|network|AT+CFUN?");
}

TEST_F(conversion_at_test, an_answer_is_passed_on_alone) {
  EXPECT_EQ(at("AT_STRING_RSP", terminated("+CFUN?")), "at|network|+CFUN?");
}

struct at_naming {
  const char* buffer_name;
  const char* result;
};

void PrintTo(const at_naming& value, std::ostream* out) {
  *out << value.buffer_name;
}

class at_buffer_test : public conversion_at_test, public test_support::given_value<at_naming> {};

TEST_GIVEN(at_buffer_test, decides) {
  EXPECT_EQ(at(given().buffer_name, terminated("X")), given().result);
}

GIVEN(names, at_buffer_test,
      {at_naming{"AT_STRING", "at|network|X"}, at_naming{"AT_STRINGREQ", "at|network|ATX"},
       at_naming{"AT_STRING_REQUEST", "at|network|ATX"},
       at_naming{"AT_STRING_PREREQ_2", "at|network|ATX"},
       at_naming{"AT_STRING_req", "at|network|X"},
       // it must be at the start
       at_naming{"REQ_AT_STRING", "nothing"}, at_naming{"xAT_STRING", "nothing"},
       at_naming{" AT_STRING", "nothing"}, at_naming{"at_string", "nothing"},
       at_naming{"AT_STRIN", "nothing"}, at_naming{"REQ", "nothing"}});

TEST_F(conversion_at_test, the_text_ends_at_its_nul) {
  EXPECT_EQ(at("AT_STRING", std::string("OK\0ERROR", 8)), "at|network|OK");
}

TEST_F(conversion_at_test, an_empty_text_is_a_packet_of_size_0) {
  EXPECT_EQ(at("AT_STRING", terminated("")), "at|network|");
}

TEST_F(conversion_at_test, an_empty_request_is_at_alone) {
  EXPECT_EQ(at("AT_STRING_REQ", terminated("")), "at|network|AT");
}

TEST_F(conversion_at_test, a_text_without_nul_ends_with_the_trace) {
  EXPECT_EQ(at("AT_STRING", "+CSQ: 20,99"), "at|network|+CSQ: 20,99");
}

TEST_F(conversion_at_test, no_body_at_all_is_an_empty_text) {
  EXPECT_EQ(at("AT_STRING", ""), "at|network|");
}

TEST_F(conversion_at_test, a_request_without_a_body_is_at_alone) {
  EXPECT_EQ(at("AT_STRING_REQ", ""), "at|network|AT");
}

TEST_F(conversion_at_test, a_long_text_comes_whole) {
  const std::string text(100000, 'a');
  EXPECT_EQ(at("AT_STRING_REQ", terminated(text)), "at|network|AT" + text);
}

TEST_F(conversion_at_test, any_bytes_but_nul_belong_to_the_text) {
  EXPECT_EQ(at("AT_STRING", terminated("\r\n+COPS: \"\xC3\xA4\xFF\"\r\n")),
            "at|network|\r\n+COPS: \"\xC3\xA4\xFF\"\r\n");
}

TEST_F(conversion_at_test, at_comes_before_the_peer_buffers) {
  database["buffers"] = json::parse(R"([{"id": 70, "name": "AT_STRING"}])");
  EXPECT_EQ(conversion_of(build_trace(
                {.id = id::peer_dump, .peer_layer = id::rrc_layer, .buffer_id = id::dl_dcch_buffer},
                terminated("OK"))),
            "at|network|OK");
}

TEST_F(conversion_at_test, an_at_buffer_in_a_trace_of_another_type_gives_nothing) {
  EXPECT_EQ(conversion_of(build_trace({.id = id::other, .buffer_id = id::at_answer_buffer}, "OK")),
            "nothing");
}

TEST_F(conversion_at_test, an_at_buffer_in_a_trace_without_a_type_gives_nothing) {
  EXPECT_EQ(conversion_of(build_trace({.id = 12345, .buffer_id = id::at_answer_buffer}, "OK")),
            "nothing");
}

TEST_F(conversion_at_test, payloads_do_not_run_into_each_other) {
  const auto packets = convert(
      database, {build_trace({.id = id::peer_dump, .buffer_id = id::at_request_buffer}, "+CFUN=1"),
                 build_trace({.id = id::peer_dump, .buffer_id = id::at_answer_buffer}, "OK"),
                 build_trace({.id = id::peer_dump, .buffer_id = id::at_request_buffer}, "E0")});
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[0].data, "AT+CFUN=1");
  EXPECT_EQ(packets[1].data, "OK");
  EXPECT_EQ(packets[2].data, "ATE0");
}

}  // namespace
