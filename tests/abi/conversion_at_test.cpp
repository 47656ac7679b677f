// AT strings in peer dumps.
#include <ostream>
#include <string>

#include "tests/abi/conversion_fixture.h"
#include "tests/support/test_names.h"

namespace {

using kovax::json;
using test_support::build_trace;
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

TEST_F(conversion_at_test, an_answer_stands_alone) {
  EXPECT_EQ(at("AT_STRING_RSP", terminated("+CFUN?")), "at|network|+CFUN?");
}

struct naming {
  const char* buffer_name;
  const char* result;
};

void PrintTo(const naming& value, std::ostream* out) {
  *out << value.buffer_name;
}

class at_buffer_test : public conversion_at_test, public testing::WithParamInterface<naming> {};

TEST_P(at_buffer_test, decides) {
  EXPECT_EQ(at(GetParam().buffer_name, terminated("X")), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    names, at_buffer_test,
    testing::Values(naming{"AT_STRING", "at|network|X"}, naming{"AT_STRINGREQ", "at|network|ATX"},
                    naming{"AT_STRING_REQUEST", "at|network|ATX"},
                    naming{"AT_STRING_PREREQ_2", "at|network|ATX"},
                    naming{"AT_STRING_req", "at|network|X"},
                    // it must stand at the start
                    naming{"REQ_AT_STRING", "nothing"}, naming{"xAT_STRING", "nothing"},
                    naming{" AT_STRING", "nothing"}, naming{"at_string", "nothing"},
                    naming{"AT_STRIN", "nothing"}, naming{"REQ", "nothing"}),
    test_support::named_by_value());

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
