#include "host/run/rotation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace veltra::host {
namespace {

using namespace std::chrono_literals;

packet raw_piece_packet(const std::vector<std::uint8_t>& bytes) {
  packet raw;
  raw.layer = raw_layer;
  raw.payload = bytes;
  return raw;
}

packet decoded_packet() {
  packet decoded;
  decoded.layer = "at";
  return decoded;
}

rotation_moment after(std::chrono::seconds seconds, std::uint64_t capture_bytes = 0) {
  return {std::chrono::steady_clock::time_point(1h) + seconds,
          std::chrono::system_clock::time_point(1714564800s) + seconds, capture_bytes};
}

const std::vector<std::uint8_t> ten_bytes(10);

TEST(rotation, the_first_piece_begins_with_the_first_packet) {
  rotation rotation({}, true);
  EXPECT_EQ(rotation.number(), 0U);
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(5s)), (piece{1, 1714564805}));
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(6s)), std::nullopt);
}

TEST(rotation, a_piece_ends_with_the_raw_packet_that_reaches_its_size) {
  rotation_options options;
  options.piece.bytes = 20;
  rotation rotation(options, true);
  rotation.before(raw_piece_packet(ten_bytes), after(0s));
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(0s)), std::nullopt);
  EXPECT_EQ(rotation.before(decoded_packet(), after(0s)), std::nullopt);
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(1s)), (piece{2, 1714564801}));
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(1s)), std::nullopt);
}

TEST(rotation, the_capture_may_be_the_file_that_reaches_its_size) {
  rotation_options options;
  options.piece.bytes = 20;
  rotation rotation(options, false);
  rotation.before(raw_piece_packet(ten_bytes), after(0s));
  rotation.before(raw_piece_packet(ten_bytes), after(0s));
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(0s, 19)), std::nullopt);
  EXPECT_NE(rotation.before(raw_piece_packet(ten_bytes), after(0s, 20)), std::nullopt);
}

TEST(rotation, packets_of_a_chunk_stay_with_it) {
  rotation_options options;
  options.piece.packets = 2;
  rotation rotation(options, true);
  rotation.before(raw_piece_packet(ten_bytes), after(0s));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(rotation.before(decoded_packet(), after(0s)), std::nullopt);
  }
  EXPECT_NE(rotation.before(raw_piece_packet(ten_bytes), after(0s)), std::nullopt);
}

TEST(rotation, a_piece_ends_in_silence_and_the_next_begins_with_a_packet) {
  rotation_options options;
  options.piece.duration = 60s;
  rotation rotation(options, true);
  EXPECT_FALSE(rotation.ends(after(100s)));
  rotation.before(raw_piece_packet(ten_bytes), after(100s));
  EXPECT_FALSE(rotation.ends(after(159s)));
  EXPECT_TRUE(rotation.ends(after(160s)));
  EXPECT_FALSE(rotation.ends(after(500s)));
  EXPECT_EQ(rotation.before(decoded_packet(), after(1000s)), (piece{2, 1714565800}));
}

// On a slow machine the ticker looks between the two.
TEST(rotation, a_piece_does_not_end_between_a_chunk_and_its_packets) {
  rotation_options options;
  options.piece.bytes = 5;
  rotation rotation(options, true);
  rotation.before(raw_piece_packet(ten_bytes), after(0s));
  EXPECT_FALSE(rotation.ends(after(0s)));
  EXPECT_EQ(rotation.before(decoded_packet(), after(0s)), std::nullopt);
  EXPECT_TRUE(rotation.ends(after(1s)));
}

TEST(rotation, an_interval_ends_at_its_multiples_of_the_wall_clock) {
  rotation_options options;
  options.interval = 3600;  // the clock begins at 12:00:00
  rotation rotation(options, true);
  rotation.before(raw_piece_packet(ten_bytes), after(10s));
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(3599s)), std::nullopt);
  EXPECT_NE(rotation.before(raw_piece_packet(ten_bytes), after(3601s)), std::nullopt);
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(7199s)), std::nullopt);
  EXPECT_TRUE(rotation.ends(after(7200s)));
}

TEST(rotation, after_a_cut_the_next_packet_begins_a_piece) {
  rotation rotation({}, true);
  rotation.before(raw_piece_packet(ten_bytes), after(0s));
  rotation.cut();
  EXPECT_EQ(rotation.before(raw_piece_packet(ten_bytes), after(1s))->number, 2U);
}

}  // namespace
}  // namespace veltra::host
