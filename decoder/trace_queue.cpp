#include "decoder/trace_queue.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

namespace open_decoder {

// The block of a record. Its taker knows the first member only, and frees the block
// by that member's address.
struct trace_queue::link {
  dekodrix_trace trace;
  link* newer;
};

void trace_releaser::operator()(dekodrix_trace* trace) const noexcept {
  std::free(trace->data);
  std::free(trace);
}

trace_pointer make_trace(std::uint32_t master_id, std::uint64_t timestamp,
                         std::span<const std::uint8_t> data) noexcept {
  using link = trace_queue::link;
  static_assert(std::is_standard_layout_v<link> && std::is_trivially_destructible_v<link>);

  void* block = std::malloc(sizeof(link));
  if (block == nullptr) {
    return nullptr;
  }
  auto* made = new (block) link{};
  trace_pointer trace(&made->trace);
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

void trace_queue::push(trace_pointer trace) noexcept {
  auto* added = reinterpret_cast<link*>(trace.release());
  if (newest_ == nullptr) {
    oldest_ = added;
  } else {
    newest_->newer = added;
  }
  newest_ = added;
  ++size_;
}

trace_pointer trace_queue::pop() noexcept {
  if (oldest_ == nullptr) {
    return nullptr;
  }
  link* taken = oldest_;
  oldest_ = taken->newer;
  if (oldest_ == nullptr) {
    newest_ = nullptr;
  }
  --size_;
  return trace_pointer(&taken->trace);
}

void trace_queue::clear() noexcept {
  while (pop() != nullptr) {
  }
}

}  // namespace open_decoder
