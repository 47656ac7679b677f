#include "tests/support/scripted_dekodrix.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

// One 8-byte object from the C++ heap, as the interface asks.
struct dekodrix {
  std::uint64_t unused = 0;
};
static_assert(sizeof(dekodrix) == 8);

namespace {

struct queued_trace {
  std::uint64_t parses;
  std::uint32_t master_id;
  std::uint64_t timestamp;
  const std::uint8_t* data;
  std::uint64_t data_length;
};

struct scripted_throw {
  scripted_function function;
  std::optional<std::string> text;
};

struct script {
  bool recording = true;
  bool no_handle = false;
  bool refuse_configuration = false;
  std::uint64_t parses = 0;
  std::deque<queued_trace> traces;
  std::deque<std::uint64_t> counts;
  std::deque<scripted_throw> throws;
  std::deque<scripted_call> calls;
  std::deque<std::string> copies;
  void (*on_delete)(void*) = nullptr;
  void* on_delete_data = nullptr;
};

script& current() {
  static script instance;
  return instance;
}

void record(scripted_call call) {
  if (!current().recording) return;
  if (call.bytes != nullptr) {
    current().copies.emplace_back(call.bytes, call.size);
    call.bytes = current().copies.back().data();
  }
  current().calls.push_back(call);
}

void throw_if_scripted(scripted_function function) {
  auto& throws = current().throws;
  if (throws.empty() || throws.front().function != function) return;
  const auto what = throws.front();
  throws.pop_front();
  if (!what.text) throw 1;
  throw std::runtime_error(*what.text);
}

bool front_is_ready() {
  const auto& state = current();
  return !state.traces.empty() && state.traces.front().parses <= state.parses;
}

}  // namespace

extern "C" {

void scripted_dekodrix_clear(void) {
  current() = script{};
}
void scripted_dekodrix_record_calls(bool on) {
  current().recording = on;
}
size_t scripted_dekodrix_call_count(void) {
  return current().calls.size();
}
scripted_call scripted_dekodrix_call(size_t index) {
  return current().calls.at(index);
}
void scripted_dekodrix_return_no_handle(void) {
  current().no_handle = true;
}
void scripted_dekodrix_refuse_configuration(void) {
  current().refuse_configuration = true;
}
void scripted_dekodrix_add_trace_count(uint64_t count) {
  current().counts.push_back(count);
}

void scripted_dekodrix_throw_from(scripted_function function, const char* text) {
  current().throws.push_back(
      {function, text != nullptr ? std::optional<std::string>(text) : std::nullopt});
}

void scripted_dekodrix_on_delete(void (*hook)(void*), void* user_data) {
  current().on_delete = hook;
  current().on_delete_data = user_data;
}

void scripted_dekodrix_add_trace(uint64_t parses, uint32_t master_id, uint64_t timestamp,
                                 const uint8_t* data, uint64_t data_length) {
  current().traces.push_back({parses, master_id, timestamp, data, data_length});
}

dekodrix* dekodrix_new(void) {
  auto made = current().no_handle ? nullptr : std::make_unique<dekodrix>();
  record({scripted_new, made.get(), 0, false, nullptr, 0});
  throw_if_scripted(scripted_new);
  return made.release();
}

void dekodrix_delete(dekodrix* decoder) {
  record({scripted_delete, decoder, 0, false, nullptr, 0});
  if (current().on_delete != nullptr) current().on_delete(current().on_delete_data);
  delete decoder;
  throw_if_scripted(scripted_delete);
}

void dekodrix_set_timebase(dekodrix* decoder, uint64_t base, bool flag) {
  record({scripted_set_timebase, decoder, base, flag, nullptr, 0});
  throw_if_scripted(scripted_set_timebase);
}

void dekodrix_reset(dekodrix* decoder) {
  record({scripted_reset, decoder, 0, false, nullptr, 0});
  throw_if_scripted(scripted_reset);
}

bool dekodrix_set_configuration_json(dekodrix* decoder, const char* text, size_t length) {
  const bool accepted = !current().refuse_configuration;
  record({scripted_set_configuration_json, decoder, 0, accepted, text, length});
  throw_if_scripted(scripted_set_configuration_json);
  return accepted;
}

void dekodrix_append_buffer(dekodrix* decoder, const uint8_t* bytes, size_t count) {
  record({scripted_append_buffer, decoder, 0, false, reinterpret_cast<const char*>(bytes), count});
  throw_if_scripted(scripted_append_buffer);
}

void dekodrix_parse(dekodrix* decoder) {
  record({scripted_parse, decoder, 0, false, nullptr, 0});
  throw_if_scripted(scripted_parse);
  ++current().parses;
}

uint64_t dekodrix_get_trace_count(dekodrix* decoder) {
  auto& state = current();
  std::uint64_t count = 0;
  if (!state.counts.empty()) {
    count = state.counts.front();
    state.counts.pop_front();
  } else {
    for (const auto& trace : state.traces) count += trace.parses <= state.parses ? 1 : 0;
  }
  record({scripted_get_trace_count, decoder, count, false, nullptr, 0});
  throw_if_scripted(scripted_get_trace_count);
  return count;
}

dekodrix_trace* dekodrix_get_trace(dekodrix* decoder) {
  const bool ready = front_is_ready();
  record({scripted_get_trace, decoder, ready ? 1U : 0U, false, nullptr, 0});
  throw_if_scripted(scripted_get_trace);
  if (!ready) return nullptr;

  const queued_trace next = current().traces.front();
  current().traces.pop_front();
  auto* trace = static_cast<dekodrix_trace*>(std::calloc(1, sizeof(dekodrix_trace)));
  if (trace == nullptr) return nullptr;
  trace->master_id = next.master_id;
  trace->channel = ~std::uint64_t{0};  // nobody may depend on it
  trace->timestamp = next.timestamp;
  trace->data_length = next.data_length;
  if (next.data != nullptr) {
    // A block of exactly the trace's size, so that a sanitizer sees a byte read
    // beyond it.
    trace->data = static_cast<std::uint8_t*>(std::malloc(next.data_length));
    if (trace->data != nullptr) std::memcpy(trace->data, next.data, next.data_length);
  }
  return trace;
}

}  // extern "C"
