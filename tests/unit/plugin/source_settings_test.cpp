#include <gtest/gtest.h>

#include <cstdint>

#include "plugin/source_settings.h"

namespace {

std::uint64_t file_chunk_size(std::uint64_t chunk_size) {
  veltra::source_settings settings;
  settings.chunk_size = chunk_size;
  return settings.file_chunk_size();
}

TEST(source_settings, the_chunk_of_a_file_is_1024_bytes_when_nothing_is_said) {
  EXPECT_EQ(veltra::source_settings().file_chunk_size(), 1024U);
}

TEST(source_settings, the_chunk_of_a_file_is_no_larger_than_a_packet_can_be) {
  EXPECT_EQ(file_chunk_size(1), 1U);
  EXPECT_EQ(file_chunk_size(4294967294), 4294967294U);
  EXPECT_EQ(file_chunk_size(4294967295), 4294967295U);
  EXPECT_EQ(file_chunk_size(4294967296), 4294967295U);
  EXPECT_EQ(file_chunk_size(UINT64_MAX), 4294967295U);
}

}  // namespace
