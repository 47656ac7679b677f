#include "host/output/prompt_consumer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>

#include "host/user_error.h"
#include "tests/support/event_count.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;

// What a test sees of a consumer that belongs to another.
struct events {
  int packets = 0;
  std::atomic<int> flushes = 0;
  test_support::event_count flushed;
  std::atomic<int> holds = 0;  // how many flushes hold something back
  std::atomic<bool> fails = false;
  bool finished = false;
  bool finished_without_room = false;
};

class recording_consumer : public packet_consumer {
 public:
  explicit recording_consumer(events& seen) : seen_(seen) {}
  void consume(const packet&) override { ++seen_.packets; }
  bool flush() override {
    if (seen_.fails) throw user_error(exit_code::output_failed, "the disk is full");
    ++seen_.flushes;
    seen_.flushed.add();
    return seen_.holds > 0 && seen_.holds-- > 0;
  }
  void finish() override { seen_.finished = true; }
  void finish_without_room() override { seen_.finished_without_room = true; }
  std::string remarks() const override { return "a remark"; }

 private:
  events& seen_;
};

class prompt_consumer_test : public testing::Test {
 protected:
  std::unique_ptr<prompt_consumer> consumer(std::chrono::milliseconds delay) {
    return std::make_unique<prompt_consumer>(
        std::make_unique<recording_consumer>(seen_), [this] { failed_.set_value(); }, delay);
  }

  events seen_;
  std::promise<void> failed_;
};

TEST_F(prompt_consumer_test, a_packet_is_flushed_while_no_other_comes) {
  const auto prompt = consumer(1ms);
  prompt->consume({});
  seen_.flushed.take();
  prompt->consume({});
  seen_.flushed.take();
  EXPECT_EQ(seen_.packets, 2);
}

TEST_F(prompt_consumer_test, packets_of_one_batch_are_flushed_together) {
  const auto prompt = consumer(20ms);
  for (int i = 0; i < 1000; ++i) prompt->consume({});
  seen_.flushed.take();
  EXPECT_LT(seen_.flushes, 100);
}

TEST_F(prompt_consumer_test, what_is_held_back_is_asked_for_again) {
  seen_.holds = 2;
  const auto prompt = consumer(1ms);
  prompt->consume({});
  for (int i = 0; i < 3; ++i) seen_.flushed.take();
  EXPECT_EQ(seen_.holds, 0);
}

TEST_F(prompt_consumer_test, a_failure_is_told_at_once_and_thrown_at_the_next_packet) {
  seen_.fails = true;
  const auto prompt = consumer(1ms);
  prompt->consume({});
  failed_.get_future().wait();
  EXPECT_EQ(refusal_of([&] { prompt->consume({}); }, exit_code::output_failed), "the disk is full");
  EXPECT_EQ(seen_.packets, 1);
}

TEST_F(prompt_consumer_test, a_failure_is_thrown_by_a_flush_too) {
  seen_.fails = true;
  const auto prompt = consumer(1ms);
  prompt->consume({});
  failed_.get_future().wait();
  seen_.fails = false;
  EXPECT_EQ(refusal_of([&] { prompt->flush(); }, exit_code::output_failed), "the disk is full");
  prompt->finish_without_room();
  EXPECT_TRUE(seen_.finished_without_room);
}

TEST_F(prompt_consumer_test, the_end_waits_for_no_delay) {
  const auto prompt = consumer(24h);
  prompt->consume({});
  prompt->finish();
  EXPECT_TRUE(seen_.finished);
  EXPECT_EQ(seen_.flushes, 0);
  EXPECT_EQ(prompt->remarks(), "a remark");
}

TEST_F(prompt_consumer_test, without_a_packet_there_is_nothing_to_do) {
  consumer(0ms)->finish();
  EXPECT_TRUE(seen_.finished);
  EXPECT_EQ(seen_.flushes, 0);
}

}  // namespace
}  // namespace veltra::host
