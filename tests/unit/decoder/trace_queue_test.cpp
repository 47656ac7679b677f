#include "decoder/trace_queue.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

trace content_of(const trace_pointer& taken) {
  return {taken->master_id, taken->channel, taken->timestamp,
          bytes(taken->data, taken->data + taken->data_length)};
}

TEST(trace_queue, traces_are_taken_in_their_order_while_others_come) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same traces every time
  trace_queue queue;
  std::deque<trace> wanted;
  for (std::uint32_t number = 0; number < 200000; ++number) {
    // The queue grows for a while, and then shrinks.
    const bool grows = number / 1000 % 2 == 0;
    if (random() % 4 < (grows ? 3 : 1)) {
      const bytes data(random() % 40, static_cast<std::uint8_t>(number));
      ASSERT_TRUE(queue.reserve(1, data.size()));
      queue.push(number, number + 1, data);
      wanted.push_back({number, 0, number + 1, data});
    }
    if (random() % 4 < (grows ? 1 : 3) && !wanted.empty()) {
      ASSERT_EQ(content_of(queue.pop()), wanted.front());
      wanted.pop_front();
    }
    ASSERT_EQ(queue.size(), wanted.size());
  }
  for (const trace& each : wanted) {
    ASSERT_EQ(content_of(queue.pop()), each);
  }
  EXPECT_EQ(queue.pop(), nullptr);
}

TEST(trace_queue, a_trace_without_data_has_no_block_for_them) {
  trace_queue queue;
  ASSERT_TRUE(queue.reserve(1, 0));
  queue.push(1, 2, {});
  EXPECT_EQ(queue.pop()->data, nullptr);
}

}  // namespace
}  // namespace open_decoder::test
