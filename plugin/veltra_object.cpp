#include "plugin/veltra_object.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "implementation/contract.h"
#include "platform/file.h"

namespace veltra {

namespace {

[[noreturn]] void throw_stopped() {
  throw std::runtime_error("stop extracting");
}

}  // namespace

veltra_object::veltra_object(source_settings settings)
    : settings_(std::move(settings)),
      input_(settings_),
      decoding_(settings_, delivery_),
      recording_(input_, decoding_, delivery_) {}

void veltra_object::open_input() {
  if (!input_.is_file()) {
    KOVAX_CONTRACT(!settings_.serial_port.empty());
    log().progress("Using serial port " + settings_.serial_port + " for tracing");
    log().progress("Using serial port with settings: " + to_string(settings_.serial_settings));
  } else {
    input_.open_file();
    if (const auto size = input_.file_size()) delivery_.set_data_size(*size);
  }
  if (!settings_.database_file.empty()) {
    decoding_.load_database(
        std::filesystem::absolute(platform::path_from_utf8(settings_.database_file)));
  }
}

void veltra_object::run(void* packet_user_data, kovax_packet_callback callback) {
  const packet_receiver to{handle(), packet_user_data, callback};
  input_.begin_run(log());
  if (settings_.recording) {
    recording_.run(to, log());
  } else {
    search_and_extract(to);
  }
  if (settings_.log_statistics) decoding_.log_statistics(log());
}

void veltra_object::search_and_extract(const packet_receiver& to) {
  if (!input_.is_file() && input_.stop_requested()) throw_stopped();
  if (decoding_.is_searching()) {
    search_database();
    delivery_.deliver_raw(to, decoding_.searched_bytes());
  }
  extract(to);
}

void veltra_object::stop() {
  log().progress("veltra stop_extracting entry");
  input_.stop();
  log().progress("veltra stop_extracting exit");
}

// Reads until the decoder is set up. Returns without one on a stop.
void veltra_object::search_database() {
  decoding_.begin_search(log());
  while (!decoding_.is_ready() && !input_.stop_requested()) {
    if (read_chunk() && chunk_.empty()) trace_decoding::throw_search_failed();
    decoding_.search(chunk_, log());
  }
}

void veltra_object::extract(const packet_receiver& to) {
  for (bool ended = false; !ended;) {
    if (drain_decoder(to)) return;
    const bool input_ended = read_chunk();
    if (decoding_.is_ready() && !chunk_.empty()) decoding_.feed(chunk_);
    // Decided before the chunk is delivered: a stop from inside its callback is
    // seen in the next pass.
    ended = ends_after_this_pass(input_ended);
    delivery_.deliver_raw(to, chunk_);
  }
}

// Delivers every trace that the decoder holds; true when a stop cut it short.
bool veltra_object::drain_decoder(const packet_receiver& to) {
  if (!decoding_.is_ready()) return false;
  for (;;) {
    converted_trace next = decoding_.next_trace();
    if (!next.trace) return false;
    if (next.packet) delivery_.deliver_decoded(to, *next.packet);
    if (input_.stop_requested()) return true;
  }
}

bool veltra_object::ends_after_this_pass(bool input_ended) {
  // Traces that are still in the decoder keep the loop going at the end.
  if (input_ended) return !decoding_.is_ready() || decoding_.pending_traces() == 0;
  return input_.stop_requested();
}

// Reads the next chunk; true once the file has met its end.
bool veltra_object::read_chunk() {
  // A stop that met a finished read left its bytes to this run.
  if (std::exchange(chunk_is_unread_, false)) return false;
  const bool ended = input_.read(chunk_);
  if (!input_.is_file() && input_.stop_requested()) {
    chunk_is_unread_ = !chunk_.empty();
    throw_stopped();
  }
  return ended;
}

host_log veltra_object::log() {
  host_log named = settings_.log;
  named.source = handle();
  return named;
}

}  // namespace veltra
