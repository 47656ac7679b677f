// The decoder through its C interface, in the shared library.
#include <dekodrix/dekodrix.h>
#include <dekodrix/statistics.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <thread>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

struct handle_deleter {
  void operator()(dekodrix* handle) const { dekodrix_delete(handle); }
};
using handle_pointer = std::unique_ptr<dekodrix, handle_deleter>;

handle_pointer configured() {
  handle_pointer handle(dekodrix_new());
  EXPECT_TRUE(dekodrix_set_configuration_json(handle.get(), test_configuration.data(),
                                              test_configuration.size()));
  return handle;
}

void feed(const handle_pointer& handle, const bytes& stream) {
  dekodrix_append_buffer(handle.get(), stream.data(), stream.size());
  dekodrix_parse(handle.get());
}

// Takes the oldest trace and frees its two blocks.
trace take(const handle_pointer& handle) {
  dekodrix_trace* taken = dekodrix_get_trace(handle.get());
  if (taken == nullptr) {
    ADD_FAILURE() << "no trace";
    return {};
  }
  trace value{taken->master_id, taken->channel, taken->timestamp, {}};
  if (taken->data != nullptr) {
    value.data.assign(taken->data, taken->data + taken->data_length);
  }
  std::free(taken->data);
  std::free(taken);
  return value;
}

TEST(library, traces_come_through_the_c_interface) {
  const auto handle = configured();
  const frame_fields first = {.sequence = 1, .payload = to_bytes("one"), .timestamp = 10};
  const frame_fields second = {.sequence = 3, .payload = to_bytes("three"), .timestamp = 30};
  feed(handle, encode(first) + encode(second));
  EXPECT_EQ(dekodrix_get_trace_count(handle.get()), 3U);
  EXPECT_EQ(take(handle), expected(first));
  EXPECT_EQ(take(handle), loss_report(1, 0, 30));
  EXPECT_EQ(take(handle), expected(second));
  EXPECT_EQ(dekodrix_get_trace_count(handle.get()), 0U);
  EXPECT_EQ(dekodrix_get_trace(handle.get()), nullptr);
}

TEST(library, a_trace_taken_outlives_its_decoder) {
  auto handle = configured();
  feed(handle, encode({.sequence = 0, .payload = to_bytes("kept")}));
  dekodrix_trace* taken = dekodrix_get_trace(handle.get());
  handle.reset();
  ASSERT_NE(taken, nullptr);
  ASSERT_EQ(taken->data_length, 4U);
  EXPECT_EQ(bytes(taken->data, taken->data + taken->data_length), to_bytes("kept"));
  std::free(taken->data);
  std::free(taken);
}

TEST(library, deleting_a_decoder_frees_the_traces_it_holds) {
  const auto handle = configured();
  feed(handle, encode({.sequence = 0, .payload = to_bytes("never taken")}) + to_bytes("begun"));
  EXPECT_EQ(dekodrix_get_trace_count(handle.get()), 1U);
}

TEST(library, deleting_null_does_nothing) {
  dekodrix_delete(nullptr);
}

TEST(library, appending_null_with_no_bytes_does_nothing) {
  const auto handle = configured();
  dekodrix_append_buffer(handle.get(), nullptr, 0);
  dekodrix_parse(handle.get());
  EXPECT_EQ(dekodrix_get_trace_count(handle.get()), 0U);
  const bytes stream = encode({.sequence = 0, .payload = to_bytes("a")});
  dekodrix_append_buffer(handle.get(), stream.data(), 5);
  dekodrix_append_buffer(handle.get(), nullptr, 0);
  dekodrix_append_buffer(handle.get(), stream.data() + 5, stream.size() - 5);
  dekodrix_parse(handle.get());
  EXPECT_EQ(take(handle).data, to_bytes("a"));
}

TEST(library, appended_bytes_are_copied) {
  const auto handle = configured();
  bytes stream = encode({.sequence = 0, .payload = to_bytes("a")});
  dekodrix_append_buffer(handle.get(), stream.data(), stream.size());
  std::fill(stream.begin(), stream.end(), std::uint8_t{0});
  dekodrix_parse(handle.get());
  EXPECT_EQ(take(handle).data, to_bytes("a"));
}

TEST(library, the_configuration_text_needs_no_terminating_nul) {
  const handle_pointer handle(dekodrix_new());
  const std::string longer = std::string(test_configuration) + "not part of it";
  EXPECT_FALSE(dekodrix_set_configuration_json(handle.get(), longer.data(), longer.size()));
  EXPECT_TRUE(
      dekodrix_set_configuration_json(handle.get(), longer.data(), test_configuration.size()));
}

TEST(library, a_text_that_is_not_a_configuration_is_refused) {
  const handle_pointer handle(dekodrix_new());
  EXPECT_FALSE(dekodrix_set_configuration_json(handle.get(), nullptr, 0));
  EXPECT_FALSE(dekodrix_set_configuration_json(handle.get(), "{}", 2));
  EXPECT_FALSE(dekodrix_set_configuration_json(handle.get(), "{", 1));
}

TEST(library, the_timebase_counts_only_with_its_flag) {
  const auto handle = configured();
  const bytes stream = encode({.sequence = 0, .payload = {}, .timestamp = 5});
  dekodrix_set_timebase(handle.get(), 100, true);
  feed(handle, stream);
  dekodrix_set_timebase(handle.get(), 100, false);
  feed(handle, stream);
  dekodrix_set_timebase(handle.get(), 0, true);
  feed(handle, stream);
  EXPECT_EQ(take(handle).timestamp, 105U);
  EXPECT_EQ(take(handle).timestamp, 5U);
  EXPECT_EQ(take(handle).timestamp, 5U);
}

TEST(library, a_reset_forgets_the_stream_and_keeps_the_configuration) {
  const auto handle = configured();
  feed(handle, encode({.sequence = 1, .payload = to_bytes("a")}) + to_bytes("~begun"));
  dekodrix_reset(handle.get());
  EXPECT_EQ(dekodrix_get_trace_count(handle.get()), 0U);
  feed(handle, encode({.sequence = 5, .payload = to_bytes("b")}));
  ASSERT_EQ(dekodrix_get_trace_count(handle.get()), 1U);
  EXPECT_EQ(take(handle).data, to_bytes("b"));
}

TEST(library, the_statistics_come_through_the_c_interface) {
  const auto handle = configured();
  feed(handle, to_bytes("cut off") + encode({.sequence = 1, .payload = {}}) +
                   encode({.sequence = 2, .payload = {}, .master_id = unknown_master}) +
                   to_bytes("~damaged~"));
  dekodrix_statistics statistics{};
  dekodrix_get_statistics(handle.get(), &statistics);
  EXPECT_EQ(counters(statistics), (counts{3, 2, 1, 1, 7}));
}

// AddressSanitizer checks the size and the kind of the deletion, and that the decoder
// behind the handle is not leaked.
TEST(library, a_handle_may_be_deleted_as_an_8_byte_object) {
  for (int i = 0; i < 100; ++i) {
    auto handle = configured();
    feed(handle, encode({.sequence = 0, .payload = to_bytes("waiting")}));
    delete reinterpret_cast<std::uint64_t*>(handle.release());
  }
  // A handle at an address that was used before has a new decoder.
  const handle_pointer fresh(dekodrix_new());
  EXPECT_EQ(dekodrix_get_trace_count(fresh.get()), 0U);
}

TEST(library, handles_may_be_made_and_deleted_on_different_threads) {
  const auto work = [] {
    for (int i = 0; i < 200; ++i) {
      const auto handle = configured();
      feed(handle, encode({.sequence = 0, .payload = to_bytes("a")}));
      EXPECT_EQ(take(handle).data, to_bytes("a"));
    }
  };
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
}  // namespace open_decoder::test
