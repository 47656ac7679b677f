#include "host/source/packet.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

TEST(packet, a_record_becomes_a_view) {
  const std::uint8_t bytes[] = {1, 2, 3};
  kovax_stream_packet_t record{};
  record.data = bytes;
  record.data_size = 3;
  record.format = "ip";
  record.category = "network";
  record.timestamp = 5;
  record.metadata = "{}";
  record.sequence_number = 9;
  const packet view = make_packet(record);
  EXPECT_EQ(view.payload.data(), bytes);
  EXPECT_EQ(view.payload.size(), 3U);
  EXPECT_EQ(view.layer, "ip");
  EXPECT_EQ(view.category, "network");
  EXPECT_EQ(view.metadata, "{}");
  EXPECT_EQ(view.time, 5U);
  EXPECT_EQ(view.sequence, 9U);
  EXPECT_FALSE(is_raw(view));
}

TEST(packet, null_texts_and_a_null_payload_read_as_empty) {
  kovax_stream_packet_t record{};
  record.data_size = 100;
  const packet view = make_packet(record);
  EXPECT_TRUE(view.payload.empty());
  EXPECT_TRUE(view.layer.empty());
  EXPECT_TRUE(view.category.empty());
  EXPECT_TRUE(view.metadata.empty());
}

TEST(packet, modem_trace_is_raw) {
  EXPECT_TRUE(is_raw(packet_of("modem_trace", "")));
}

std::optional<std::uint64_t> dropped(std::string_view layer, std::string_view text) {
  return dropped_traces(packet_of(layer, text));
}

TEST(dropped_traces, the_count_of_a_warning_is_read) {
  EXPECT_EQ(dropped("at", "Dropped traces count: 7"), 7U);
  EXPECT_EQ(dropped("at", "Dropped traces count: 18446744073709551615"), ~std::uint64_t{0});
  EXPECT_EQ(dropped("at", "Dropped traces count: 12 more"), 12U);
}

TEST(dropped_traces, a_count_of_zero_is_a_warning_too) {
  EXPECT_EQ(dropped("at", "Dropped traces count: 0"), 0U);
}

TEST(dropped_traces, other_packets_and_counts_that_are_none_are_no_warning) {
  EXPECT_EQ(dropped("ip", "Dropped traces count: 7"), std::nullopt);
  EXPECT_EQ(dropped("at", "dropped traces count: 7"), std::nullopt);
  EXPECT_EQ(dropped("at", "Dropped traces count: "), std::nullopt);
  EXPECT_EQ(dropped("at", "Dropped traces count: x"), std::nullopt);
  EXPECT_EQ(dropped("at", "Dropped traces count: 18446744073709551616"), std::nullopt);
  EXPECT_EQ(dropped("at", ""), std::nullopt);
}

}  // namespace
}  // namespace veltra::host
