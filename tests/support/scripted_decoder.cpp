#include "tests/support/scripted_decoder.h"

#include <stdexcept>
#include <utility>

#include "tests/support/library_file.h"
#include "tests/support/plugin_library.h"

namespace test_support {

namespace {

// The library under the name that the plug-in was linked with. Loading the
// plug-in first makes this the very library that the plug-in is bound to.
platform::dynamic_library bound_library() {
  plugin();
  const auto file = platform::loaded_library_file(decoder_library_name);
  if (file.empty()) throw std::runtime_error("loading the plug-in brought in no decoder");
  return platform::dynamic_library(file);
}

template <typename Function>
Function control(const platform::dynamic_library& library, const char* name) {
  try {
    return library.function<Function>(name);
  } catch (const std::runtime_error&) {
    throw std::runtime_error(
        "the plug-in is bound to another decoder than the scripted one: run the tests through "
        "ctest, which puts the scripted one first");
  }
}

}  // namespace

scripted_decoder& scripted_decoder::instance() {
  static scripted_decoder decoder;
  return decoder;
}

scripted_decoder::scripted_decoder()
    : library_(bound_library()),
      clear_(control<decltype(clear_)>(library_, "scripted_dekodrix_clear")),
      record_calls_(control<decltype(record_calls_)>(library_, "scripted_dekodrix_record_calls")),
      call_count_(control<decltype(call_count_)>(library_, "scripted_dekodrix_call_count")),
      call_(control<decltype(call_)>(library_, "scripted_dekodrix_call")),
      return_no_handle_(
          control<decltype(return_no_handle_)>(library_, "scripted_dekodrix_return_no_handle")),
      refuse_configuration_(control<decltype(refuse_configuration_)>(
          library_, "scripted_dekodrix_refuse_configuration")),
      throw_from_(control<decltype(throw_from_)>(library_, "scripted_dekodrix_throw_from")),
      on_delete_(control<decltype(on_delete_)>(library_, "scripted_dekodrix_on_delete")),
      add_trace_(control<decltype(add_trace_)>(library_, "scripted_dekodrix_add_trace")),
      add_trace_count_(
          control<decltype(add_trace_count_)>(library_, "scripted_dekodrix_add_trace_count")) {}

void scripted_decoder::clear() {
  clear_();
  trace_data_.clear();
}

std::vector<decoder_call> scripted_decoder::calls() const {
  std::vector<decoder_call> result;
  for (std::size_t index = 0; index < call_count_(); ++index) {
    const scripted_call call = call_(index);
    result.push_back({call.function, call.handle, call.number, call.flag,
                      call.bytes != nullptr ? std::string(call.bytes, call.size) : std::string()});
  }
  return result;
}

std::vector<decoder_call> scripted_decoder::calls_of(scripted_function function) const {
  auto result = calls();
  std::erase_if(result, [&](const decoder_call& call) { return call.function != function; });
  return result;
}

std::vector<scripted_function> scripted_decoder::sequence(std::size_t from) const {
  std::vector<scripted_function> result;
  for (std::size_t index = from; index < call_count_(); ++index) {
    result.push_back(call_(index).function);
  }
  return result;
}

std::string scripted_decoder::appended() const {
  std::string result;
  for (const auto& call : calls_of(scripted_append_buffer)) result += call.bytes;
  return result;
}

void scripted_decoder::throw_from(scripted_function function, const std::string& text) {
  throw_from_(function, text.c_str());
}

void scripted_decoder::throw_int_from(scripted_function function) {
  throw_from_(function, nullptr);
}

void scripted_decoder::on_delete(std::function<void()> hook) {
  on_delete_hook_ = std::move(hook);
  on_delete_([](void* data) { static_cast<scripted_decoder*>(data)->on_delete_hook_(); }, this);
}

void scripted_decoder::add_trace(std::uint64_t parses, std::uint32_t master_id, std::string data,
                                 std::uint64_t timestamp) {
  trace_data_.push_back(std::move(data));
  const std::string& kept = trace_data_.back();
  add_trace_(parses, master_id, timestamp, reinterpret_cast<const std::uint8_t*>(kept.data()),
             kept.size());
}

void scripted_decoder::add_trace_without_data(std::uint64_t parses, std::uint32_t master_id,
                                              std::uint64_t data_length) {
  add_trace_(parses, master_id, 0, nullptr, data_length);
}

}  // namespace test_support
