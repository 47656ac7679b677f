// byte_buffer.h - bytes that are appended and not set before that.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace veltra {

// What a std::string does, without a call and a zero for each byte that is written next.
// One thread at a time.
class byte_buffer {
 public:
  // Makes room for `count` bytes behind the others and returns where they are, to be written
  // by the caller. Valid until the next call of a function that is not const. Throws
  // std::bad_alloc, and changes nothing then.
  char* add(std::size_t count) {
    if (count > capacity_ - size_) grow(count);
    return bytes_.get() + std::exchange(size_, size_ + count);
  }

  // Keeps the memory.
  void clear() { size_ = 0; }

  std::size_t size() const { return size_; }
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  void grow(std::size_t count) {
    // Twice as much each time, so that a byte is moved seldom.
    const std::size_t capacity = std::max({size_ + count, 2 * capacity_, std::size_t{256}});
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    if (size_ != 0) std::memcpy(larger.get(), bytes_.get(), size_);
    bytes_ = std::move(larger);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace veltra
