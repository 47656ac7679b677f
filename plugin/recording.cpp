#include "plugin/recording.h"

#include <fmt/format.h>

#include <cstdint>
#include <stdexcept>

#include "platform/message.h"

namespace veltra {

void recording::run(const packet_receiver& to, const host_log& log) {
  to_ = to;
  log_ = log;
  if (is_searching()) trace_decoding::begin_search(log_);
  const std::exception_ptr input_failure = read_until_the_end();
  deliver_what_was_received();
  if (input_failure) std::rethrow_exception(input_failure);
}

// Returns how the input failed; null when it ended or was stopped.
std::exception_ptr recording::read_until_the_end() {
  while (!input_.stop_requested()) {
    deliver_traces();
    bool at_end = false;
    try {
      at_end = input_.read(chunk_);
    } catch (...) {
      return std::current_exception();
    }
    deliver_chunk();
    if (at_end && is_searching()) trace_decoding::throw_search_failed();
    if (at_end && pending_traces() == 0) return nullptr;
  }
  input_.close_port();
  return nullptr;
}

void recording::deliver_what_was_received() {
  deliver_traces();
  while (input_.take_received(chunk_)) {
    deliver_chunk();
    deliver_traces();
  }
}

void recording::deliver_traces() {
  for (;;) {
    give_up_if_stopped_again();
    converted_trace next;
    decode([&] {
      if (decoding_.is_ready()) next = decoding_.next_trace();
    });
    if (!next.trace) return;
    if (next.packet) delivery_.deliver_decoded(to_, *next.packet);
  }
}

void recording::deliver_chunk() {
  try {
    delivery_.deliver_raw(to_, chunk_);
  } catch (...) {
    // The next run goes on behind this chunk, and so does the decoder.
    decode_chunk();
    throw;
  }
  decode_chunk();
}

void recording::decode_chunk() {
  if (chunk_.empty()) return;
  decode([this] {
    if (is_searching()) {
      decoding_.search(chunk_, log_);
    } else if (decoding_.is_ready()) {
      decoding_.feed(chunk_);
    }
  });
}

void recording::give_up_if_stopped_again() {
  if (!input_.stop_repeated()) return;
  input_.close_port();  // nothing comes after the count
  const std::size_t bytes = input_.received_bytes();
  const std::uint64_t traces = pending_traces();
  if (bytes == 0 && traces == 0) return;
  throw std::runtime_error(fmt::format(
      "stopped before the end: {} received bytes and {} decoded traces were not delivered", bytes,
      traces));
}

// How many traces wait in a decoder that works.
std::uint64_t recording::pending_traces() {
  std::uint64_t count = 0;
  decode([&] {
    if (decoding_.is_ready()) count = decoding_.pending_traces();
  });
  return count;
}

// Runs a step of the decoding, unless one has failed before.
template <typename Step>
void recording::decode(const Step& step) {
  if (decoding_ended_) return;
  try {
    step();
  } catch (const std::exception& failure) {
    end_decoding(failure.what());
  } catch (...) {
    end_decoding("unknown error");
  }
}

void recording::end_decoding(const char* reason) {
  decoding_ended_ = true;
  log_.recoverable_failure("decoding stopped: " + platform::utf8_message(reason));
}

}  // namespace veltra
