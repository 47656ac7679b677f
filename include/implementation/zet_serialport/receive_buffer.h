// receive_buffer.h - bytes in the order they came, taken from the front.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zet_serialport_lib {

// One contiguous array, unbounded. Taking n bytes costs O(n), whatever remains:
// the gap at the front is closed only when space is needed and the remainder is
// no longer than the gap, so that every byte moved is paid for by a byte taken.
// Not synchronised.
class receive_buffer {
 public:
  std::size_t size() const { return bytes_.size() - front_; }

  // Appends copies of `bytes`. Throws std::bad_alloc, leaving the buffer as it was.
  void append(std::span<const std::uint8_t> bytes) {
    if (bytes_.capacity() - bytes_.size() < bytes.size() && front_ >= size()) close_gap();
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  }

  // Moves the first `count` bytes to the end of `output`. There must be as many.
  void take(std::size_t count, std::string& output) {
    output.append(reinterpret_cast<const char*>(bytes_.data() + front_), count);
    front_ += count;
    if (front_ == bytes_.size()) close_gap();
  }

 private:
  void close_gap() {
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(front_));
    front_ = 0;
  }

  std::vector<std::uint8_t> bytes_;
  std::size_t front_ = 0;  // bytes at the start that have been taken
};

}  // namespace zet_serialport_lib
