#include "plugin/trace_input.h"

#include <algorithm>
#include <stdexcept>

namespace veltra {

using zet_serialport_lib::zet_serialport_exception;

namespace {

}  // namespace

trace_input::trace_input(const source_settings& settings) : settings_(settings) {
  if (!settings.trace_file.empty()) return;
  port_.emplace(settings.serial_port);
  if (settings.recording) port_->rest_between_reads(settings.recording_rest);
}

void trace_input::begin_run(const host_log& log) {
  stops_.exchange(0);
  if (!port_ || port_->is_open()) return;
  log.progress("open port");
  port_->open(settings_.serial_settings, true);
  // A stop that came before the port was open found nothing to close.
  if (stop_requested()) port_->close();
}

bool trace_input::read(std::string& chunk) {
  if (!port_) return file_.read_chunk(settings_.file_chunk_size(), chunk);
  read_port(chunk);
  return false;
}

void trace_input::read_port(std::string& chunk) {
  chunk.clear();
  try {
    const std::uint64_t received = port_->bytes_available();
    const std::uint64_t wanted = std::max(received, settings_.chunk_size);
    port_->read(chunk, static_cast<std::size_t>(std::min(wanted, max_bytes_per_read)));
    // What came together is one chunk.
    if (settings_.recording) port_->take_received(chunk, max_bytes_per_read - chunk.size());
  } catch (const zet_serialport_exception& failure) {
    // The stop's own closing of the port is how it wakes a read.
    if (failure.error() != zet_serialport_lib::ERR_SERIALPORT_OPEN || !stop_requested()) throw;
  }
  if (!port_->is_open() && !stop_requested()) throw std::runtime_error("serialcommunication error");
}

bool trace_input::take_received(std::string& chunk) {
  chunk.clear();
  return port_ && port_->take_received(chunk, max_bytes_per_take) > 0;
}

void trace_input::close_port() {
  if (port_) port_->close(settings_.recording);
}

void trace_input::stop() {
  if (stops_.fetch_add(1) == 0) close_port();
}

}  // namespace veltra
