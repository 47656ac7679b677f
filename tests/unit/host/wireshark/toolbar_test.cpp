#include "host/wireshark/toolbar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "host/wireshark/toolbar_view.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;

std::string content_of(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(ToolbarMessage, CountsControlCommandAndPayload) {
  EXPECT_EQ(toolbar_message(1, toolbar_command::set, "abc"), "T\0\0\5\1\1abc"s);
  EXPECT_EQ(toolbar_message(0, toolbar_command::set, ""), "T\0\0\2\0\1"s);
  EXPECT_EQ(toolbar_message(0, toolbar_command::add, std::string(300, 'x')).substr(0, 6),
            "T\0\1\x2e\0\2"s);
}

TEST(ToolbarMessage, ALongTextIsCutToWhatAMessageHolds) {
  const std::string message = toolbar_message(0, toolbar_command::add, std::string(70000, 'x'));
  EXPECT_EQ(message.size(), 4U + 65535U);
  EXPECT_EQ(message.substr(0, 4), "T\0\xff\xff"s);
}

TEST(Toolbar, BeginsWithAnEmptyLog) {
  const test_support::temp_directory directory;
  const auto file = directory.write("control", "");
  { const toolbar bar(file); }
  EXPECT_EQ(content_of(file), "T\0\0\2\0\1"s);
}

TEST(Toolbar, WithoutAPipeNothingIsSent) {
  toolbar bar("");
  bar.set_state("state");
  bar.log("line\n");
}

TEST(ToolbarView, ShowsMessagesInTheLogAndCountersInTheState) {
  const test_support::temp_directory directory;
  const auto file = directory.write("control", "");
  toolbar_view view("modem", file);
  view.take_event({.kind = event_kind::port_opening, .detail = {}});
  view.show_lines("veltra: note: something\n");
  view.tick(std::chrono::steady_clock::now());
  EXPECT_THAT(content_of(file), HasSubstr("\2veltra: note: something\n"s));
  EXPECT_THAT(content_of(file), HasSubstr("\1\0010"s + "0:00:00  0 B"));
}

TEST(ToolbarView, ShowsTheSummaryAfterTheEndOfTheRun) {
  const test_support::temp_directory directory;
  const auto file = directory.write("control", "");
  toolbar_view view("modem", file);
  view.end();
  view.show_lines("summary\n");
  EXPECT_THAT(content_of(file), HasSubstr("\2summary\n"s));
}

TEST(ToolbarView, SaysHowACaptureInWiresharkEnds) {
  const test_support::temp_directory directory;
  const auto file = directory.write("control", "");
  toolbar_view view("modem", file);
  view.take_event({.kind = event_kind::port_opening, .detail = {}});
  view.tick(std::chrono::steady_clock::now() + std::chrono::seconds(6));
  EXPECT_THAT(content_of(file), HasSubstr("Still waiting; stop the capture to end it."));
}

}  // namespace
}  // namespace veltra::host
