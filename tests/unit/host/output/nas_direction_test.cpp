#include "host/output/nas_direction.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace veltra::host {
namespace {

using enum direction;
using bytes = std::vector<std::uint8_t>;

TEST(nas_direction, a_type_that_only_the_ue_sends_is_sent) {
  EXPECT_EQ(nas_direction(bytes{0x07, 0x41, 0x72}), sent) << "attach request";
  EXPECT_EQ(nas_direction(bytes{0x07, 0x5e}), sent) << "security mode complete";
  EXPECT_EQ(nas_direction(bytes{0x02, 0x01, 0xd0, 0x31}), sent) << "PDN connectivity request";
  EXPECT_EQ(nas_direction(bytes{0x52, 0x00, 0xc2}), sent) << "a bearer's identity is in front";
}

TEST(nas_direction, a_type_that_only_the_network_sends_is_received) {
  EXPECT_EQ(nas_direction(bytes{0x07, 0x55, 0x03}), received) << "identity request";
  EXPECT_EQ(nas_direction(bytes{0x07, 0x42}), received) << "attach accept";
  EXPECT_EQ(nas_direction(bytes{0x02, 0x02, 0xd9}), received) << "ESM information request";
}

TEST(nas_direction, a_type_that_both_send_is_unknown) {
  for (const std::uint8_t type : bytes{0x45, 0x46, 0x60}) {
    EXPECT_EQ(nas_direction(bytes{0x07, type, 0x00}), unknown) << "type " << int{type};
  }
  for (const std::uint8_t type : bytes{0xdc, 0xe8, 0xeb}) {
    EXPECT_EQ(nas_direction(bytes{0x02, 0x01, type}), unknown) << "type " << int{type};
  }
}

TEST(nas_direction, a_protected_message_that_is_not_ciphered_shows_the_type_inside) {
  EXPECT_EQ(nas_direction(bytes{0x37, 1, 2, 3, 4, 0, 0x07, 0x5d, 0x22}), received);
  EXPECT_EQ(nas_direction(bytes{0x17, 1, 2, 3, 4, 5, 0x07, 0x53}), sent);
  EXPECT_EQ(nas_direction(bytes{0x17, 1, 2, 3, 4, 5, 0x02, 0x01, 0xd1}), received);
  EXPECT_EQ(nas_direction(bytes{0x57, 1, 2, 3, 4, 5, 0x07, 0x4d}), sent);
}

TEST(nas_direction, a_ciphered_message_is_unknown_whatever_its_bytes_look_like) {
  for (const std::uint8_t first : bytes{0x27, 0x47}) {
    EXPECT_EQ(nas_direction(bytes{first, 1, 2, 3, 4, 5, 0x07, 0x41, 0x00}), unknown);
    EXPECT_EQ(nas_direction(bytes{first, 0x41, 0xc1, 0xd0}), unknown);
  }
  EXPECT_EQ(nas_direction(bytes{0x17, 1, 2, 3, 4, 5, 0x27, 0x41}), unknown) << "protected twice";
}

TEST(nas_direction, the_short_service_request_is_sent) {
  for (const std::uint8_t first : bytes{0xc7, 0xd7, 0xe7, 0xf7}) {
    EXPECT_EQ(nas_direction(bytes{first, 0x01, 0x12, 0x34}), sent);
  }
}

TEST(nas_direction, what_is_not_a_whole_nas_message_is_unknown) {
  EXPECT_EQ(nas_direction({}), unknown);
  EXPECT_EQ(nas_direction(bytes{0x41}), unknown);
  const std::array<bytes, 4> whole = {bytes{0x07, 0x41}, bytes{0x02, 0x01, 0xd0},
                                      bytes{0x17, 1, 2, 3, 4, 5, 0x07, 0x53},
                                      bytes{0x17, 1, 2, 3, 4, 5, 0x02, 1, 0xd0}};
  for (const bytes& message : whole) {
    ASSERT_NE(nas_direction(message), unknown);
    for (std::size_t size = 0; size < message.size(); ++size) {
      EXPECT_EQ(nas_direction(std::span(message).first(size)), unknown) << "cut to " << size;
    }
  }
}

}  // namespace
}  // namespace veltra::host
