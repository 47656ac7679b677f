#include "decoder/trace_queue.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace open_decoder {
namespace {

// More room is freed once no trace waits.
constexpr std::size_t max_kept_bytes = std::size_t{1} << 20;

template <typename Element>
void make_room(std::vector<Element>& elements, std::size_t more) {
  const std::size_t needed = elements.size() + more;
  // Twice as much each time, so that an element is moved seldom.
  if (needed > elements.capacity()) elements.reserve(std::max(needed, 2 * elements.capacity()));
}

trace_pointer make_trace(std::uint32_t master_id, std::uint64_t timestamp,
                         std::span<const std::uint8_t> data) noexcept {
  void* const block = std::malloc(sizeof(dekodrix_trace));
  if (block == nullptr) {
    return nullptr;
  }
  trace_pointer trace(new (block) dekodrix_trace{});
  trace->master_id = master_id;
  trace->timestamp = timestamp;
  if (!data.empty()) {
    trace->data = static_cast<std::uint8_t*>(std::malloc(data.size()));
    if (trace->data == nullptr) {
      return nullptr;
    }
    std::memcpy(trace->data, data.data(), data.size());
    trace->data_length = data.size();
  }
  return trace;
}

}  // namespace

void trace_releaser::operator()(dekodrix_trace* trace) const noexcept {
  std::free(trace->data);
  std::free(trace);
}

bool trace_queue::reserve(std::size_t traces, std::size_t bytes) noexcept {
  // Whoever never takes the last trace must not make the queue grow.
  if (taken_ > waiting_.size() / 2) {
    forget_taken();
  }
  try {
    make_room(waiting_, traces);
    make_room(bytes_, bytes);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void trace_queue::push(std::uint32_t master_id, std::uint64_t timestamp,
                       std::span<const std::uint8_t> data) noexcept {
  waiting_.push_back({master_id, timestamp, data.size()});
  bytes_.insert(bytes_.end(), data.begin(), data.end());
}

trace_pointer trace_queue::pop() noexcept {
  if (size() == 0) {
    return nullptr;
  }
  const waiting_trace& oldest = waiting_[taken_];
  trace_pointer trace = make_trace(oldest.master_id, oldest.timestamp,
                                   std::span(bytes_).subspan(taken_bytes_, oldest.size));
  taken_bytes_ += oldest.size;
  if (++taken_ == waiting_.size()) {
    if (bytes_.capacity() > max_kept_bytes) {
      clear();
    } else {
      forget_taken();
    }
  }
  return trace;
}

void trace_queue::forget_taken() noexcept {
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(taken_));
  bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(taken_bytes_));
  taken_ = 0;
  taken_bytes_ = 0;
}

}  // namespace open_decoder
