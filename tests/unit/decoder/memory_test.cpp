// How much memory a decoder keeps, measured by counting what is allocated.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "decoder/decoder.h"
#include "decoder/handle_table.h"
#include "tests/unit/decoder/stream.h"

namespace {

std::size_t live_bytes = 0;

// Room for the size in front of every block, without losing its alignment.
constexpr std::size_t prefix = alignof(std::max_align_t);
static_assert(prefix >= sizeof(std::size_t));

}  // namespace

void* operator new(std::size_t size) {
  auto* block = static_cast<std::byte*>(std::malloc(size + prefix));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  *reinterpret_cast<std::size_t*>(block) = size;
  live_bytes += size;
  return block + prefix;
}

void* operator new[](std::size_t size) {
  return operator new(size);
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) {
    auto* block = static_cast<std::byte*>(memory) - prefix;
    live_bytes -= *reinterpret_cast<std::size_t*>(block);
    std::free(block);
  }
}

void operator delete[](void* memory) noexcept {
  operator delete(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace open_decoder::test {
namespace {

constexpr std::size_t chunk_size = 4096;
// One frame, the chunk appended, and a few small blocks.
constexpr std::size_t allowed = max_frame_size + 2 * chunk_size + 4096;

TEST(memory, an_endless_frame_does_not_grow_the_decoder) {
  const bytes chunk(chunk_size, 0x55);
  const bytes flag = {frame_flag};
  const std::size_t before = live_bytes;
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  subject.append(flag);
  std::size_t peak = 0;
  for (int i = 0; i < 2000; ++i) {
    subject.append(chunk);
    subject.parse();
    peak = std::max(peak, live_bytes - before);
  }
  EXPECT_LE(peak, allowed);
}

TEST(memory, a_long_stream_does_not_grow_the_decoder) {
  const bytes chunk = encode({.sequence = 0, .payload = bytes(chunk_size - 23, 'x')});
  ASSERT_EQ(chunk.size(), chunk_size);
  const std::size_t before = live_bytes;
  decoder subject;
  ASSERT_TRUE(subject.set_configuration(test_configuration));
  std::size_t peak = 0;
  for (int i = 0; i < 2000; ++i) {
    subject.append(chunk);
    subject.parse();
    ASSERT_NE(subject.take_trace(), nullptr);
    peak = std::max(peak, live_bytes - before);
  }
  EXPECT_LE(peak, allowed);
}

TEST(memory, the_buffer_of_a_large_append_is_freed) {
  const bytes large(std::size_t{8} << 20, 0x55);
  const std::size_t before = live_bytes;
  decoder subject;
  subject.append(large);
  EXPECT_GE(live_bytes - before, large.size());
  subject.parse();
  EXPECT_LE(live_bytes - before, allowed);
}

TEST(memory, decoders_whose_handles_were_deleted_alone_do_not_accumulate) {
  handle_table table;
  const int handle = 0;
  table.add(&handle);
  const std::size_t with_one = live_bytes;
  for (int i = 0; i < 10; ++i) {
    table.add(&handle);
  }
  EXPECT_EQ(live_bytes, with_one);
  table.remove(&handle);
  EXPECT_LT(live_bytes, with_one);
}

}  // namespace
}  // namespace open_decoder::test
