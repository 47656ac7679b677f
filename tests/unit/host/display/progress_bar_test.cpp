#include "host/display/progress_bar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>

#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

TEST(read_position, offset_and_size_are_read_from_the_front) {
  const auto position = read_position(R"({"data_offset":12,"data_size":345,"modem_db_path":""})");
  ASSERT_TRUE(position);
  EXPECT_EQ(position->offset, 12U);
  EXPECT_EQ(position->size, 345U);
}

TEST(read_position, an_input_without_an_end_has_no_size) {
  const auto position = read_position(R"({"data_offset":12,"modem_db_path":"data_size"})");
  ASSERT_TRUE(position);
  EXPECT_EQ(position->size, std::nullopt);
}

TEST(read_position, other_metadata_have_no_position) {
  for (const char* metadata :
       {"", "{}", R"({"data_offset":"12"})", R"({"data_offset":)", R"({"x":1,"data_offset":12})",
        R"({"data_offset":18446744073709551616})"}) {
    EXPECT_FALSE(read_position(metadata)) << metadata;
  }
}

TEST(format_progress, a_file_has_a_bar_with_percentage_and_speed) {
  EXPECT_EQ(format_progress({0, 100}, 1s), "[" + std::string(40, '-') + "]   0 %  0 B/s");
  EXPECT_EQ(format_progress({50, 100}, 1s),
            "[" + std::string(20, '#') + std::string(20, '-') + "]  50 %  50 B/s");
  EXPECT_EQ(format_progress({2'000'000, 2'000'000}, 2s),
            "[" + std::string(40, '#') + "] 100 %  1.0 MB/s");
}

TEST(format_progress, it_is_not_done_before_it_is) {
  EXPECT_THAT(format_progress({999, 1000}, 1s), testing::HasSubstr("-]  99 %"));
}

TEST(format_progress, a_file_that_grew_is_not_more_than_whole) {
  EXPECT_THAT(format_progress({300, 100}, 1s),
              testing::StartsWith("[" + std::string(40, '#') + "] 100 %"));
}

TEST(format_progress, without_a_size_there_are_bytes_and_speed) {
  EXPECT_EQ(format_progress({3'000'000, std::nullopt}, 2s), "3.0 MB  1.5 MB/s");
  EXPECT_EQ(format_progress({0, 0}, 2s), "0 B  0 B/s");
}

TEST(format_progress, no_time_at_all_is_no_division_by_zero) {
  EXPECT_EQ(format_progress({1, std::nullopt}, 0s), "1 B  1.0 kB/s");
}

// A bar on a file in the place of a terminal, with a clock that the test moves.
class progress_bar_test : public testing::Test {
 protected:
  ~progress_bar_test() override { std::fclose(terminal_); }

  void take(std::string_view layer = raw_layer,
            std::string_view metadata = R"({"data_offset":50,"data_size":100})") {
    bar_.take_packet(packet_of(layer, "", metadata));
  }

  void tick(std::chrono::milliseconds after_begin) {
    bar_.tick(progress_bar::time_point{} + after_begin);
  }

  // All that was drawn so far.
  std::string drawn() {
    std::string text;
    std::rewind(terminal_);
    for (int c; (c = std::fgetc(terminal_)) != EOF;) text += static_cast<char>(c);
    return text;
  }

  std::FILE* terminal_ = std::tmpfile();
  progress_bar bar_{terminal_, {}};
};

// Without wrapping, for a terminal that is too narrow.
std::string half_done(const std::string& speed) {
  return "\x1b[?7l\r\x1b[K[" + std::string(20, '#') + std::string(20, '-') + "]  50 %  " + speed +
         "\x1b[?7h";
}

TEST_F(progress_bar_test, a_run_that_ends_before_the_first_tick_draws_nothing) {
  take();
  bar_.end();
  EXPECT_THAT(drawn(), IsEmpty());
}

TEST_F(progress_bar_test, a_tick_draws_the_latest_position_once) {
  take(raw_layer, R"({"data_offset":49,"data_size":100})");
  take();
  tick(100ms);
  tick(200ms);
  EXPECT_EQ(drawn(), half_done("500 B/s"));
  take();
  tick(300ms);
  EXPECT_EQ(drawn(), half_done("500 B/s") + half_done("167 B/s"));
}

TEST_F(progress_bar_test, it_is_wiped_at_the_end) {
  take();
  tick(1s);
  bar_.end();
  EXPECT_EQ(drawn(), half_done("50 B/s") + "\r\x1b[K");
}

TEST_F(progress_bar_test, it_makes_way_for_lines_that_are_to_stay) {
  testing::internal::CaptureStderr();
  bar_.show_lines("first\n");
  EXPECT_THAT(drawn(), IsEmpty());
  take();
  tick(1s);
  bar_.show_lines("second\n");
  bar_.show_lines("third\n");
  take();
  tick(2s);
  EXPECT_EQ(drawn(), half_done("50 B/s") + "\r\x1b[K" + half_done("25 B/s"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "first\nsecond\nthird\n");
}

TEST_F(progress_bar_test, decoded_packets_and_packets_without_a_position_draw_nothing) {
  take("ip");
  take(raw_layer, "{}");
  tick(1s);
  EXPECT_THAT(drawn(), IsEmpty());
}

TEST(progress_bar, without_a_terminal_only_lines_are_shown) {
  testing::internal::CaptureStderr();
  progress_bar bar(nullptr);
  bar.take_packet(packet_of(raw_layer, "", R"({"data_offset":50,"data_size":100})"));
  bar.tick(progress_bar::time_point::clock::now() + 1s);
  bar.show_lines("a line\n");
  bar.end();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a line\n");
}

}  // namespace
}  // namespace veltra::host
