#include "host/run/run_messages.h"

#include <gmock/gmock.h>
#include <kovax/source.h>

#include <string>
#include <thread>

namespace veltra::host {
namespace {

class run_messages_test : public testing::Test {
 protected:
  void fail(const std::string& message) { messages_.take(KOVAX_LOG_RECOVERABLE_FAILURE, message); }

  run_options options_;
  std::string told_;
  run_messages messages_{options_, [this](std::string_view lines) { told_ += lines; }};
};

TEST_F(run_messages_test, progress_is_told_to_nobody) {
  EXPECT_TRUE(messages_.take(KOVAX_LOG_PROGRESS, "at work"));
  messages_.finish();
  EXPECT_EQ(told_, "");
}

TEST_F(run_messages_test, a_failure_is_told_when_it_comes) {
  fail("no sun");
  EXPECT_EQ(told_, "veltra: note: no sun\n");
  messages_.finish();
  EXPECT_EQ(told_, "veltra: note: no sun\n");
}

TEST_F(run_messages_test, a_failure_that_comes_again_is_counted) {
  for (int i = 0; i < 2; ++i) fail("no sun");
  for (int i = 0; i < 4; ++i) fail("no rain");
  EXPECT_EQ(told_, "veltra: note: no sun\nveltra: note: no rain\n");
  told_.clear();
  messages_.finish();
  EXPECT_EQ(told_,
            "veltra: note, 3 more times: no rain\n"
            "veltra: note, 1 more time: no sun\n");
  told_.clear();
  messages_.finish();
  EXPECT_EQ(told_, "");
}

TEST_F(run_messages_test, more_failures_than_a_person_reads_are_counted) {
  for (std::size_t i = 0; i < run_messages::most_told; ++i) fail(std::to_string(i));
  told_.clear();
  for (const char* more : {"one", "two"}) fail(more);
  fail("0");
  EXPECT_EQ(told_, "");
  messages_.finish();
  EXPECT_EQ(told_,
            "veltra: note, 1 more time: 0\n"
            "veltra: note: 2 more messages of failures; --verbose shows them.\n");
}

TEST_F(run_messages_test, a_database_failure_is_told_in_a_persons_words) {
  options_.database.locations = {"http://a", "http://b"};
  fail("Failed to download config.json. Reason: refused");
  EXPECT_EQ(told_,
            "veltra: note: the catalogue could not be fetched from http://a (refused); "
            "trying the next location.\n");
}

TEST_F(run_messages_test, what_stands_in_a_trace_does_not_steer_the_terminal) {
  options_.verbose = true;
  messages_.take(KOVAX_LOG_PROGRESS, "found UID: \x1b[31mred\n\x7F \xC3\xA4");
  EXPECT_EQ(told_, "[2] found UID: ?[31mred?? \xC3\xA4\n");
}

TEST_F(run_messages_test, on_request_every_message_is_shown_with_its_level_and_nothing_else) {
  options_.verbose = true;
  messages_.take(KOVAX_LOG_PROGRESS, "at work");
  for (int i = 0; i < 2; ++i) fail("no sun");
  messages_.finish();
  EXPECT_EQ(told_, "[2] at work\n[5] no sun\n[5] no sun\n");
}

TEST_F(run_messages_test, a_message_of_another_thread_counts_for_nothing) {
  bool counts = true;
  std::thread([&] {
    counts = messages_.take(KOVAX_LOG_RECOVERABLE_FAILURE, "found UID: x");
  }).join();
  EXPECT_FALSE(counts);
  EXPECT_EQ(told_, "");
  EXPECT_EQ(messages_.events().uuid(), "");
}

}  // namespace
}  // namespace veltra::host
