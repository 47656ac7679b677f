#include "host/display/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>

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

// A bar on a file that stands for a terminal, with a clock that the test moves.
class progress_bar_test : public testing::Test {
 protected:
  ~progress_bar_test() override {
    bar_.reset();
    std::fclose(terminal_);
  }

  void update(std::string_view layer = "modem_trace",
              std::string_view metadata = R"({"data_offset":50,"data_size":100})") {
    bar_->update({.layer = layer, .category = {}, .metadata = metadata, .payload = {}});
  }

  // All that was drawn so far.
  std::string drawn() {
    std::string text;
    std::rewind(terminal_);
    for (int c; (c = std::fgetc(terminal_)) != EOF;) text += static_cast<char>(c);
    return text;
  }

  std::FILE* terminal_ = std::tmpfile();
  std::chrono::steady_clock::time_point now_{};
  std::optional<progress_bar> bar_{std::in_place, terminal_, [this] { return now_; }};
};

// Without wrapping, for a terminal that is too narrow.
std::string half_done(const std::string& speed) {
  return "\x1b[?7l\r\x1b[K[" + std::string(20, '#') + std::string(20, '-') + "]  50 %  " + speed +
         "\x1b[?7h";
}

TEST_F(progress_bar_test, a_short_run_draws_nothing) {
  now_ += 99ms;
  update();
  bar_.reset();
  EXPECT_THAT(drawn(), IsEmpty());
}

TEST_F(progress_bar_test, it_is_drawn_ten_times_a_second_at_most) {
  for (int i = 0; i < 25; ++i) {
    now_ += 10ms;
    update();
  }
  EXPECT_EQ(drawn(), half_done("500 B/s") + half_done("250 B/s"));
}

TEST_F(progress_bar_test, it_is_wiped_at_the_end) {
  now_ += 1s;
  update();
  bar_.reset();
  EXPECT_EQ(drawn(), half_done("50 B/s") + "\r\x1b[K");
}

TEST_F(progress_bar_test, it_makes_way_for_lines_that_are_to_stay) {
  bar_->wipe();
  EXPECT_THAT(drawn(), IsEmpty());
  now_ += 1s;
  update();
  bar_->wipe();
  bar_->wipe();
  now_ += 1s;
  update();
  EXPECT_EQ(drawn(), half_done("50 B/s") + "\r\x1b[K" + half_done("25 B/s"));
}

TEST_F(progress_bar_test, decoded_packets_and_packets_without_a_position_draw_nothing) {
  now_ += 1s;
  update("ip");
  update("modem_trace", "{}");
  EXPECT_THAT(drawn(), IsEmpty());
}

TEST(progress_bar, without_a_terminal_nothing_is_drawn) {
  std::chrono::steady_clock::time_point now{};
  progress_bar bar(nullptr, [&] { return now; });
  now += 1s;
  bar.update({.layer = "modem_trace",
              .category = {},
              .metadata = R"({"data_offset":50,"data_size":100})",
              .payload = {}});
}

}  // namespace
}  // namespace veltra::host
