// trace_queue.h - decoded traces, until they are taken.
#pragma once

#include <dekodrix/dekodrix.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace open_decoder {

// Frees a record and its data, as the caller of dekodrix_get_trace() does.
struct trace_releaser {
  void operator()(dekodrix_trace* trace) const noexcept;
};
using trace_pointer = std::unique_ptr<dekodrix_trace, trace_releaser>;

// Traces in the order in which they were decoded. They wait one behind the other, and a
// trace's two blocks are made when it is taken: blocks of a whole batch at a time would
// leave the allocator's cache.
//
// One thread at a time.
class trace_queue {
 public:
  // Makes room for `traces` more with `bytes` bytes of data. Returns false, and changes
  // nothing, if memory runs out.
  [[nodiscard]] bool reserve(std::size_t traces, std::size_t bytes) noexcept;

  // Adds a trace with a copy of `data` and `timestamp` in nanoseconds. There must be room.
  void push(std::uint32_t master_id, std::uint64_t timestamp,
            std::span<const std::uint8_t> data) noexcept;

  // Takes the oldest trace as two malloc'ed blocks, a record (channel 0) and its data (NULL
  // and 0 when it is empty). Null when there is none, or no memory for it; it is then lost.
  trace_pointer pop() noexcept;

  [[nodiscard]] std::uint64_t size() const noexcept { return waiting_.size() - taken_; }

  // Gives its memory back, too.
  void clear() noexcept { *this = {}; }

 private:
  struct waiting_trace {
    std::uint32_t master_id;
    std::uint64_t timestamp;
    std::size_t size;  // bytes
  };

  void forget_taken() noexcept;

  std::vector<waiting_trace> waiting_;
  std::vector<std::uint8_t> bytes_;  // their data
  // What of both was taken already.
  std::size_t taken_ = 0;
  std::size_t taken_bytes_ = 0;
};

}  // namespace open_decoder
