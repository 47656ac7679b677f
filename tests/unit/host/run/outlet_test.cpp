#include "host/run/outlet.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/user_error.h"
#include "tests/support/event_count.h"
#include "tests/unit/host/packets.h"
#include "tests/unit/host/run/scripted_sink.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr delivery all_deliveries[] = {delivery::direct, delivery::waiting, delivery::dropping};

class outlet_test : public testing::Test {
 protected:
  // With a queue of `max_bytes`; of one byte it is full with any packet.
  void begin(delivery delivery, std::size_t max_bytes = outlet::max_bytes_waiting) {
    outlet_.emplace(sink_, delivery, max_bytes);
    outlet_->start();
  }

  void push(const std::string& payload) { outlet_->push(packet_of("ip", payload)); }

  // The sink waits in every packet for release().
  void hold_packets() {
    sink_.writing = [this](const packet&) {
      entered_.add();
      released_.take();
    };
  }
  void release() { released_.add(); }

  std::string failure() const {
    return refusal_of(
        [this] {
          if (outlet_->failure()) std::rethrow_exception(outlet_->failure());
        },
        exit_code::output_failed);
  }

  test_support::event_count entered_;
  test_support::event_count released_;
  scripted_sink sink_;
  std::optional<outlet> outlet_;
};

[[noreturn]] void fail_for_lack_of_room() {
  throw user_error(exit_code::output_failed, "the disk is full");
}

TEST_F(outlet_test, direct_packets_are_written_on_the_callers_thread_at_once) {
  begin(delivery::direct);
  std::thread::id writer;
  sink_.writing = [&](const packet&) { writer = std::this_thread::get_id(); };
  push("1");
  EXPECT_THAT(sink_.done(), ElementsAre("ip 1"));
  EXPECT_EQ(writer, std::this_thread::get_id());
}

TEST_F(outlet_test, all_of_a_packet_survives_the_queue) {
  for (const delivery each : all_deliveries) {
    std::vector<packet> seen;
    std::vector<std::string> texts;
    sink_.metadata_is_wanted = true;
    sink_.writing = [&](const packet& packet) {
      seen.push_back(packet);
      for (const auto text : {packet.layer, packet.category, packet.metadata}) {
        texts.emplace_back(text);
      }
      texts.emplace_back(packet.payload.begin(), packet.payload.end());
    };
    begin(each);
    for (const std::uint64_t sequence : {7U, 8U}) {
      // The views end with the call.
      std::string layer("nas-eps"), metadata(R"({"a":1})"), payload("a\0\xff", 3);
      packet pushed = packet_of(layer, payload, metadata, 5 + sequence);
      pushed.sequence = sequence;
      outlet_->push(pushed);
      outlet_->push(packet_of("", "", "", 1));
      for (std::string* text : {&layer, &metadata, &payload}) {
        std::fill(text->begin(), text->end(), '?');
      }
    }
    outlet_->finish();
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_EQ(seen[0].sequence, 7U);
    EXPECT_EQ(seen[0].time, 12U);
    EXPECT_EQ(seen[2].sequence, 8U);
    EXPECT_EQ(seen[3].time, 1U);
    const std::vector<std::string> one = {
        "nas-eps", "network", R"({"a":1})", std::string("a\0\xff", 3), "", "network", "", ""};
    std::vector<std::string> expected = one;
    expected.insert(expected.end(), one.begin(), one.end());
    EXPECT_EQ(texts, expected);
  }
}

TEST_F(outlet_test, metadata_that_nobody_wants_are_copied_for_the_first_packet_only) {
  std::vector<std::string> metadata;
  sink_.writing = [&](const packet& packet) { metadata.emplace_back(packet.metadata); };
  begin(delivery::waiting);
  for (int i = 0; i < 3; ++i) outlet_->push(packet_of("ip", "", R"({"a":1})"));
  outlet_->finish();
  EXPECT_EQ(metadata, (std::vector<std::string>{R"({"a":1})", "", ""}));
}

TEST_F(outlet_test, a_waiting_push_waits_for_room_and_nothing_is_lost) {
  constexpr int packets = 1000;
  std::atomic<int> pushed = 0;
  int written = 0;
  int furthest = 0;
  sink_.writing = [&](const packet&) { furthest = std::max(furthest, pushed - ++written); };
  begin(delivery::waiting, 1);
  for (int i = 0; i < packets; ++i) {
    push(std::to_string(i));
    ++pushed;
  }
  outlet_->finish();
  EXPECT_LE(furthest, 1) << "packets in the queue";
  const auto done = sink_.done();
  ASSERT_EQ(done.size(), std::size_t{packets});
  for (int i = 0; i < packets; ++i) {
    ASSERT_EQ(done[static_cast<std::size_t>(i)], "ip " + std::to_string(i));
  }
  EXPECT_EQ(outlet_->missed(), 0U);
}

TEST_F(outlet_test, what_finds_no_room_is_missed_and_the_gap_marked_before_the_next_packet) {
  hold_packets();
  begin(delivery::dropping, 1);
  push("1");
  entered_.take();
  for (const char* payload : {"2", "3", "4"}) push(payload);
  EXPECT_EQ(outlet_->missed(), 2U);
  release();
  entered_.take();  // with the second, which leaves room
  push("5");
  push("6");
  for (int i = 0; i < 2; ++i) release();
  outlet_->finish();
  const auto done = sink_.done();
  EXPECT_THAT(
      done, ElementsAre("ip 1", "flush", "ip 2", "flush", "missed 2", "ip 5", "flush", "missed 1"))
      << "and that of the sixth at the end";
  EXPECT_EQ(outlet_->missed(), 3U);
}

TEST_F(outlet_test, the_end_waits_until_everything_is_written) {
  for (const delivery each : {delivery::waiting, delivery::dropping}) {
    scripted_sink sink;
    sink.writing = [this](const packet&) {
      entered_.add();
      released_.take();
    };
    {
      outlet to(sink, each, 1000);
      to.start();
      to.push(packet_of("ip", std::string(1000, '1')));  // enough not to be gathered
      entered_.take();
      to.push(packet_of("ip", "2"));
      to.push(packet_of("ip", "3"));
      for (int i = 0; i < 3; ++i) release();
    }
    EXPECT_THAT(sink.done(), Contains("ip 3"));
    for (int i = 0; i < 2; ++i) entered_.take();
  }
}

TEST_F(outlet_test, packets_for_a_file_that_nobody_reads_meanwhile_are_handed_over_together) {
  int written = 0;
  sink_.writing = [&](const packet&) {
    ++written;
    entered_.add();
  };
  begin(delivery::waiting, 4000);
  for (int i = 0; i < 9; ++i) push("x");
  EXPECT_EQ(written, 0) << "the thread has not been given anything";
  push(std::string(1000, 'x'));
  for (int i = 0; i < 10; ++i) entered_.take();

  push("x");
  outlet_->tick();
  push("x");
  for (int i = 0; i < 2; ++i) entered_.take();
}

TEST_F(outlet_test, bytes_of_raw_packets_that_nobody_wants_are_not_copied) {
  for (const bool wanted : {true, false}) {
    scripted_sink sink;
    sink.raw_bytes_are_wanted = wanted;
    outlet to(sink, delivery::waiting);
    to.start();
    to.push(packet_of("modem_trace", "raw"));
    to.push(packet_of("ip", "message"));
    to.finish();
    EXPECT_THAT(sink.done(),
                ElementsAre(wanted ? "modem_trace raw" : "modem_trace ", "ip message"));
  }
}

TEST_F(outlet_test, a_stream_that_gets_more_than_it_gathers_gets_everything) {
  sink_.is_read_meanwhile = true;
  std::size_t bytes = 0;
  sink_.writing = [&](const packet& packet) { bytes += packet.payload.size(); };
  begin(delivery::waiting, 4000);
  constexpr std::size_t count = 1000;
  for (std::size_t i = 0; i < count; ++i) push(std::string(1000, 'x'));
  outlet_->finish();
  EXPECT_EQ(bytes, count * 1000);
}

TEST_F(outlet_test, a_failure_of_the_sink_is_kept_and_ends_the_outlet) {
  for (const delivery each : all_deliveries) {
    int tried = 0;
    sink_.writing = [&](const packet&) {
      ++tried;
      fail_for_lack_of_room();
    };
    begin(each, 1);
    EXPECT_FALSE(outlet_->has_failed());
    EXPECT_FALSE(outlet_->failure());
    push("1");
    while (!outlet_->has_failed()) std::this_thread::yield();
    for (int i = 0; i < 1000; ++i) push("none of these waits");
    outlet_->finish();
    EXPECT_EQ(failure(), "the disk is full");
    EXPECT_EQ(tried, 1);
  }
}

TEST_F(outlet_test, a_push_that_waits_for_room_ends_with_the_sink) {
  sink_.writing = [this](const packet&) {
    entered_.add();
    released_.take();
    fail_for_lack_of_room();
  };
  begin(delivery::waiting, 1);
  push("1");
  entered_.take();
  push("2");
  std::thread pusher([this] { push("3"); });  // waits, unless the sink has failed before
  release();
  pusher.join();
  outlet_->finish();
  EXPECT_EQ(failure(), "the disk is full");
}

TEST_F(outlet_test, a_failure_to_flush_or_to_mark_a_gap_is_one_of_the_sink) {
  sink_.flushing = []() -> bool { fail_for_lack_of_room(); };
  begin(delivery::dropping);
  push("1");
  outlet_->finish();
  EXPECT_EQ(failure(), "the disk is full");

  sink_.flushing = [] { return false; };
  sink_.marking = [] { fail_for_lack_of_room(); };
  hold_packets();
  begin(delivery::dropping, 1);
  push("1");
  entered_.take();
  for (const char* payload : {"2", "3"}) push(payload);
  for (int i = 0; i < 2; ++i) release();
  outlet_->finish();
  EXPECT_EQ(failure(), "the disk is full");
}

TEST_F(outlet_test, only_a_sink_that_may_be_read_along_is_flushed) {
  for (const delivery each : {delivery::direct, delivery::waiting}) {
    begin(each);
    for (int i = 0; i < 10; ++i) push("x");
    outlet_->tick();
    outlet_->finish();
  }
  EXPECT_THAT(sink_.done(), Not(Contains("flush")));
}

TEST_F(outlet_test, a_packet_is_flushed_while_no_other_comes) {
  test_support::event_count flushed;
  sink_.flushing = [&] {
    flushed.add();
    return false;
  };
  begin(delivery::dropping);
  for (int i = 0; i < 2; ++i) {
    push("x");
    flushed.take();
  }
  outlet_->finish();
  EXPECT_THAT(sink_.done(), ElementsAre("ip x", "flush", "ip x", "flush"));
}

TEST_F(outlet_test, packets_that_came_together_are_flushed_together) {
  hold_packets();
  begin(delivery::dropping);
  push("1");
  entered_.take();
  for (int i = 0; i < 1000; ++i) push("x");
  for (int i = 0; i < 1001; ++i) release();
  outlet_->finish();
  const auto done = sink_.done();
  EXPECT_EQ(std::count(done.begin(), done.end(), "flush"), 2);
}

TEST_F(outlet_test, a_sink_that_holds_something_back_is_asked_again_by_ticks) {
  test_support::event_count flushed;
  std::atomic<int> holds = 2;
  sink_.flushing = [&] {
    flushed.add();
    return holds-- > 0;
  };
  begin(delivery::dropping);
  outlet_->tick();
  push("x");
  flushed.take();
  for (int i = 0; i < 2; ++i) {
    outlet_->tick();
    flushed.take();
  }
  outlet_->tick();
  outlet_->finish();
  EXPECT_THAT(sink_.done(), ElementsAre("ip x", "flush", "flush", "flush"));
}

TEST_F(outlet_test, a_sink_that_does_not_take_its_packet_has_stalled_once) {
  const std::chrono::steady_clock::time_point now{1000h};
  hold_packets();
  begin(delivery::dropping);
  push("1");
  entered_.take();
  push("2");
  EXPECT_FALSE(outlet_->has_stalled(now, 5s));
  EXPECT_FALSE(outlet_->has_stalled(now + 4999ms, 5s));
  EXPECT_TRUE(outlet_->has_stalled(now + 5s, 5s));
  EXPECT_FALSE(outlet_->has_stalled(now + 1h, 5s)) << "again";
  release();
  entered_.take();  // with the second packet
  EXPECT_FALSE(outlet_->has_stalled(now + 2h, 5s));
  EXPECT_TRUE(outlet_->has_stalled(now + 3h, 5s));
  release();
}

TEST_F(outlet_test, a_sink_without_work_has_not_stalled) {
  const std::chrono::steady_clock::time_point now{1000h};
  sink_.writing = [](const packet&) { fail_for_lack_of_room(); };
  begin(delivery::direct);
  EXPECT_FALSE(outlet_->has_stalled(now, 5s));
  EXPECT_FALSE(outlet_->has_stalled(now + 1h, 5s));
  begin(delivery::dropping);
  push("1");
  while (!outlet_->has_failed()) std::this_thread::yield();
  EXPECT_FALSE(outlet_->has_stalled(now + 2h, 5s));
  EXPECT_FALSE(outlet_->has_stalled(now + 3h, 5s));
}

TEST_F(outlet_test, without_a_packet_the_sink_is_left_alone) {
  for (const delivery each : all_deliveries) {
    begin(each);
    outlet_->finish();
  }
  EXPECT_THAT(sink_.done(), ElementsAre());
}

TEST_F(outlet_test, a_stream_is_flushed_while_a_file_is_read) {
  sink_.is_read_meanwhile = true;
  test_support::event_count flushed;
  sink_.flushing = [&] {
    flushed.add();
    return false;
  };
  begin(delivery::waiting);
  push("1");
  flushed.take();  // before more comes, and before the end
  EXPECT_THAT(sink_.done(), Contains("ip 1"));
  outlet_->finish();
}

}  // namespace
}  // namespace veltra::host
