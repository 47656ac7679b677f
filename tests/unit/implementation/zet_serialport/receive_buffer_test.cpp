// The bytes between the rx worker and the reads.
#include "implementation/zet_serialport/receive_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace zet_serialport_lib {
namespace {

std::span<const std::uint8_t> bytes_of(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(receive_buffer, bytes_come_out_in_the_order_they_went_in) {
  receive_buffer buffer;
  buffer.append(bytes_of("abc"));
  buffer.append(bytes_of("defg"));
  std::string output;
  buffer.take(2, output);
  EXPECT_EQ(output, "ab");
  EXPECT_EQ(buffer.size(), 5U);
  buffer.take(5, output);
  EXPECT_EQ(output, "abcdefg");
  EXPECT_EQ(buffer.size(), 0U);
}

TEST(receive_buffer, taking_nothing_changes_nothing) {
  receive_buffer buffer;
  std::string output = "kept";
  buffer.take(0, output);
  buffer.append(bytes_of("x"));
  buffer.take(0, output);
  EXPECT_EQ(output, "kept");
  EXPECT_EQ(buffer.size(), 1U);
}

TEST(receive_buffer, any_interleaving_keeps_every_byte) {
  std::mt19937 random(20);
  receive_buffer buffer;
  std::string sent;
  std::string received;
  for (int round = 0; round < 20000; ++round) {
    std::string piece(random() % 300, '\0');
    for (auto& byte : piece) byte = static_cast<char>(random());
    buffer.append(bytes_of(piece));
    sent += piece;
    // Mostly less than was added, at times everything.
    const auto share = random() % 8 == 0 ? buffer.size() : random() % (buffer.size() + 1) / 2;
    buffer.take(share, received);
    ASSERT_EQ(buffer.size(), sent.size() - received.size());
  }
  buffer.take(buffer.size(), received);
  EXPECT_TRUE(sent == received);
}

TEST(receive_buffer, taking_costs_nothing_proportional_to_what_remains) {
  // Moving the remainder on every take would touch about 8 TB here and take hours; the
  // test program's time limit ends that, on a busy machine too.
  constexpr std::size_t size = std::size_t{64} << 20;
  receive_buffer buffer;
  buffer.append(std::vector<std::uint8_t>(size));
  std::string output;
  for (std::size_t taken = 0; taken < size; taken += 256) {
    output.clear();
    buffer.take(256, output);
    if (taken % 4096 == 0) buffer.append(bytes_of("trickle"));
  }
  EXPECT_EQ(buffer.size(), size / 4096 * std::string("trickle").size());
}

}  // namespace
}  // namespace zet_serialport_lib
