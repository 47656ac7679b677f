// trace_queue.h - decoded traces, in the memory blocks that the caller frees.
#pragma once

#include <dekodrix/dekodrix.h>

#include <cstdint>
#include <memory>
#include <span>

namespace open_decoder {

// Frees a record and its data, as the caller of dekodrix_get_trace() does.
struct trace_releaser {
  void operator()(dekodrix_trace* trace) const noexcept;
};
using trace_pointer = std::unique_ptr<dekodrix_trace, trace_releaser>;

// Makes the two malloc'ed blocks of a record with a copy of `data` (NULL and 0
// when it is empty), channel 0, `timestamp` in nanoseconds. Returns null if
// there is no memory for them. Any thread.
trace_pointer make_trace(std::uint32_t master_id, std::uint64_t timestamp,
                         std::span<const std::uint8_t> data) noexcept;

// Traces in the order in which they were decoded. The links between them are part
// of the records' own blocks, so that pushing needs no memory and cannot fail.
//
// One thread at a time.
class trace_queue {
 public:
  trace_queue() = default;
  trace_queue(const trace_queue&) = delete;
  trace_queue& operator=(const trace_queue&) = delete;
  ~trace_queue() { clear(); }

  // Adds a trace made by make_trace(), which must not be null.
  void push(trace_pointer trace) noexcept;

  // Takes the oldest trace; null when there is none.
  trace_pointer pop() noexcept;

  [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

  void clear() noexcept;

 private:
  struct link;
  friend trace_pointer make_trace(std::uint32_t master_id, std::uint64_t timestamp,
                                  std::span<const std::uint8_t> data) noexcept;

  link* oldest_ = nullptr;
  link* newest_ = nullptr;
  std::uint64_t size_ = 0;
};

}  // namespace open_decoder
