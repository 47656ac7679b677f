// scripted_decoder.h - the scripted decoding library, as tests speak to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dynamic_library.h"
#include "tests/support/scripted_dekodrix.h"

namespace test_support {

// One recorded call with its own copy of what was passed.
struct decoder_call {
  scripted_function function;
  const dekodrix* handle;
  std::uint64_t number;
  bool flag;
  std::string bytes;
};

// The process's one scripted decoder. It is the library that the plug-in has
// been bound to; instance() throws std::runtime_error when that is another one,
// because the library search path does not begin with the scripted library.
class scripted_decoder {
 public:
  static scripted_decoder& instance();

  // Forgets the script and the record.
  void clear();
  void record_calls(bool on) { record_calls_(on); }

  std::size_t call_count() const { return call_count_(); }
  std::vector<decoder_call> calls() const;
  std::vector<decoder_call> calls_of(scripted_function function) const;
  std::vector<scripted_function> sequence(std::size_t from = 0) const;
  // What was appended, all together.
  std::string appended() const;

  void return_no_handle() { return_no_handle_(); }
  void refuse_configuration() { refuse_configuration_(); }
  void throw_from(scripted_function function, const std::string& text);
  void throw_int_from(scripted_function function);
  // Called by every dekodrix_delete until the next clear().
  void on_delete(std::function<void()> hook);
  void add_trace_count(std::uint64_t count) { add_trace_count_(count); }

  // Queues a trace that is ready after that many parses.
  void add_trace(std::uint64_t parses, std::uint32_t master_id, std::string data,
                 std::uint64_t timestamp = 0);
  // Queues a record whose data pointer is null.
  void add_trace_without_data(std::uint64_t parses, std::uint32_t master_id,
                              std::uint64_t data_length);

 private:
  scripted_decoder();

  platform::dynamic_library library_;
  std::deque<std::string> trace_data_;  // what is queued lives here
  std::function<void()> on_delete_hook_;
  decltype(&scripted_dekodrix_clear) clear_;
  decltype(&scripted_dekodrix_record_calls) record_calls_;
  decltype(&scripted_dekodrix_call_count) call_count_;
  decltype(&scripted_dekodrix_call) call_;
  decltype(&scripted_dekodrix_return_no_handle) return_no_handle_;
  decltype(&scripted_dekodrix_refuse_configuration) refuse_configuration_;
  decltype(&scripted_dekodrix_throw_from) throw_from_;
  decltype(&scripted_dekodrix_on_delete) on_delete_;
  decltype(&scripted_dekodrix_add_trace) add_trace_;
  decltype(&scripted_dekodrix_add_trace_count) add_trace_count_;
};

}  // namespace test_support
