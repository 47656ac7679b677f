#include "host/simulate/session_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/environment.h"
#include "platform/file.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

session parse(std::string_view text) {
  return parse_session(text, "s.tsv");
}

std::string refusal(std::string_view text) {
  return refusal_of([&] { parse(text); });
}

TEST(session_file, a_line_holds_time_layer_payload_and_summary) {
  const session read = parse(
      "# time_us\tlayer\tpayload_hex\tsummary\n"
      "20000\tat\t4f4B0d0a\tAT: OK\n"
      "40000\tnas-eps\t00fF\tNAS-EPS: x\n");
  EXPECT_EQ(read.name, "s.tsv");
  ASSERT_EQ(read.messages.size(), 2U);
  EXPECT_EQ(read.messages[0].time_us, 20000U);
  EXPECT_EQ(read.messages[0].layer, "at");
  EXPECT_EQ(read.messages[0].payload, "OK\r\n");
  EXPECT_EQ(read.messages[0].line, 2U);
  EXPECT_EQ(read.messages[1].time_us, 40000U);
  EXPECT_EQ(read.messages[1].layer, "nas-eps");
  EXPECT_EQ(read.messages[1].payload, std::string("\x00\xFF", 2));
  EXPECT_EQ(read.messages[1].line, 3U);
}

TEST(session_file, a_line_may_lack_what_it_does_not_need) {
  for (const char* text : {"1\tip\t45\n", "1\tip\t45", "1\tip\t45\r\n", "1\tip\t45\ta\tb\tc\n",
                           "\xEF\xBB\xBF#h\n1\tip\t45\n"}) {
    const session read = parse(text);
    ASSERT_EQ(read.messages.size(), 1U) << text;
    EXPECT_EQ(read.messages[0].payload, "\x45") << text;
  }
}

TEST(session_file, remarks_and_blank_lines_are_skipped_but_counted) {
  const session read = parse("\n\r\n  \t \n1\tip\t45\n# a remark\tx\n\n2\tip\t46\r\n");
  ASSERT_EQ(read.messages.size(), 2U);
  EXPECT_EQ(read.messages[0].line, 4U);
  EXPECT_EQ(read.messages[1].line, 7U);
}

TEST(session_file, a_payload_may_be_empty) {
  EXPECT_EQ(parse("1\tip\t\n").messages.at(0).payload, "");
  EXPECT_EQ(parse("1\tip\t\tsummary").messages.at(0).payload, "");
}

TEST(session_file, the_largest_time_is_taken) {
  EXPECT_EQ(parse("1000000000000000\tip\t\n").messages.at(0).time_us, max_session_time_us);
}

TEST(session_file, a_bad_line_is_refused_with_file_line_and_reason) {
  const struct {
    const char* text;
    const char* start;
    const char* reason;
  } cases[] = {
      {"hello\n", "s.tsv, line 1: ", "fewer than three columns"},
      {"#h\n1\tip\n", "s.tsv, line 2: ", "fewer than three columns"},
      {"1\tip\t45\n\nx\tip\t45\n", "s.tsv, line 3: ", "\"x\" is not a whole number"},
      {"\tip\t45\n", "s.tsv, line 1: ", "\"\" is not a whole number"},
      {"-1\tip\t45\n", "s.tsv, line 1: ", "\"-1\" is not a whole number"},
      {"+1\tip\t45\n", "s.tsv, line 1: ", "\"+1\" is not a whole number"},
      {"1.5\tip\t45\n", "s.tsv, line 1: ", "\"1.5\" is not a whole number"},
      {" 1\tip\t45\n", "s.tsv, line 1: ", "\" 1\" is not a whole number"},
      {"1000000000000001\tip\t45\n", "s.tsv, line 1: ", "beyond the largest"},
      {"99999999999999999999999\tip\t45\n", "s.tsv, line 1: ", "beyond the largest"},
      {"1\t\t45\n", "s.tsv, line 1: ", "the layer is empty"},
      {"1\tip\t456\n", "s.tsv, line 1: ", "odd number of hexadecimal digits (3)"},
      {"1\tip\t4g\n", "s.tsv, line 1: ", "\"g\", which is not a hexadecimal digit"},
      {"1\tip\t45 46\n", "s.tsv, line 1: ", "\" \", which is not a hexadecimal digit"},
      {"1\tip\t0x45\n", "s.tsv, line 1: ", "\"x\", which is not a hexadecimal digit"},
  };
  for (const auto& one : cases) {
    const std::string text = refusal(one.text);
    EXPECT_THAT(text, StartsWith(one.start)) << one.text;
    EXPECT_THAT(text, HasSubstr(one.reason)) << one.text;
  }
}

TEST(session_file, a_refusal_is_one_printable_line_however_long_the_text_is) {
  const std::string text = refusal(std::string(5000, '\x01') + "\tip\t45\n");
  EXPECT_LT(text.size(), 200U);
  EXPECT_EQ(text.find('\x01'), std::string::npos);
  EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST(session_file, a_file_without_messages_is_refused) {
  EXPECT_THAT(refusal(""), StartsWith("s.tsv contains no message"));
  EXPECT_THAT(refusal("# time_us\tlayer\n\n"), StartsWith("s.tsv contains no message"));
}

TEST(session_file, a_missing_file_is_refused_by_name) {
  const std::string text = refusal_of([] { read_session("no-such-session.tsv"); });
  EXPECT_THAT(text, StartsWith("cannot read the session no-such-session.tsv: "));
}

TEST(session_file, a_directory_is_refused) {
  EXPECT_THAT(refusal_of([] { read_session("."); }), StartsWith("cannot read the session .: "));
}

TEST(session_file, the_example_session_is_read_whole) {
  const auto examples = platform::find_environment_variable("VELTRA_EXAMPLES");
  ASSERT_TRUE(examples);
  const session read = read_session(platform::path_from_utf8(*examples) / "attach_session.tsv");
  ASSERT_EQ(read.messages.size(), 55U);
  EXPECT_EQ(read.messages.front().payload, "AT+CFUN=1\r\n");
  EXPECT_EQ(read.messages.back().time_us, 375950U);
}

}  // namespace
}  // namespace veltra::host
