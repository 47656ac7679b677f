#include "plugin/veltra_object.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "implementation/contract.h"
#include "platform/file.h"
#include "plugin/database/database_locator.h"
#include "plugin/errors.h"
#include "plugin/source_properties.h"

namespace veltra {

namespace {

constexpr const char* stopped_while_reading = "stop extracting";

}  // namespace

veltra_object::veltra_object(source_settings settings)
    : settings_(std::move(settings)), port_(settings_.serial_port) {}

void veltra_object::set_trace_file(const std::string& utf8_path) {
  if (utf8_path.empty()) {
    KOVAX_CONTRACT(!settings_.serial_port.empty());
    log().progress("Using serial port " + settings_.serial_port + " for tracing");
    log().progress("Using serial port with settings: " + to_string(settings_.serial_settings));
  } else {
    file_.open(utf8_path);
    delivery_.set_data_size(file_.size());
  }
  if (!settings_.database_file.empty()) {
    load_database(std::filesystem::absolute(platform::path_from_utf8(settings_.database_file)));
  }
}

void veltra_object::load_database(const std::filesystem::path& path) {
  decoder_.load_database(path, settings_.log);
  delivery_.set_database(decoder_.database_path(), decoder_.collection().uuid);
}

void veltra_object::run(void* packet_user_data, kovax_packet_callback callback) {
  stop_requested_.exchange(0);
  if (!file_mode()) open_serial_port();
  const packet_receiver to{handle(), packet_user_data, callback};
  if (!decoder_.ready() && !settings_.database_directories.empty()) {
    log().progress("dekodrix not set start waiting for db uuid");
    locate_database();
    delivery_.deliver_raw(to, uid_search_.cached_data());
  }
  extract(to);
}

void veltra_object::stop() {
  log().progress("veltra stop_extracting entry");
  if (stop_requested_.exchange(1) == 0) port_.close();
  log().progress("veltra stop_extracting exit");
}

// Reads until the stream has named its database, sets the decoder up with it
// and gives it everything read so far. Returns without a decoder on a stop.
void veltra_object::locate_database() {
  log().progress("start locating db UID from trace data");
  const std::optional<std::string> uuid = search_uuid();
  if (!uuid) return;
  const std::filesystem::path directory =
      locate_database_directory(settings_.database_directories, *uuid, log());
  log().progress("db located at path: " + platform::path_to_utf8(directory));
  load_database(find_database_file(directory));
  decoder_.feed(uid_search_.cached_data());
}

std::optional<std::string> veltra_object::search_uuid() {
  std::optional<std::string> uuid;
  while (!uuid && !stop_requested()) {
    if (read_chunk() && chunk_.empty()) {
      throw veltra_exception(KOVAX_RESULT_NO_DATABASE_UID,
                             "End of file reached while searching for the database UID");
    }
    uuid = uid_search_.search(chunk_, log());
  }
  return uuid;
}

void veltra_object::extract(const packet_receiver& to) {
  for (bool ended = false; !ended;) {
    if (drain_decoder(to)) return;
    const bool input_ended = read_chunk();
    if (decoder_.ready() && !chunk_.empty()) decoder_.feed(chunk_);
    // Decided before the chunk is delivered: a stop from inside its callback is
    // seen in the next pass.
    ended = ends_after_this_pass(input_ended);
    delivery_.deliver_raw(to, chunk_);
  }
}

// Delivers every trace that the decoder holds; true when a stop cut it short.
bool veltra_object::drain_decoder(const packet_receiver& to) {
  if (!decoder_.ready()) return false;
  const packet_sink sink = [&](const kovax_stream_packet_t& packet) {
    delivery_.deliver_decoded(to, packet);
  };
  while (const decoded_trace trace = decoder_.next_trace()) {
    if (trace_db_config* config = decoder_.collection().find_config_for_master(trace->master_id)) {
      convert_trace(*config, *trace, sink);
    }
    if (stop_requested()) return true;
  }
  return false;
}

bool veltra_object::ends_after_this_pass(bool input_ended) {
  if (!file_mode()) return !port_.is_open() || stop_requested();
  // Traces that are still in the decoder keep the loop going at the end.
  if (input_ended) return !decoder_.ready() || !decoder_.has_pending_traces();
  return stop_requested();
}

// Reads the next chunk; true once the file has met its end.
bool veltra_object::read_chunk() {
  if (file_mode()) return file_.read_chunk(settings_.file_chunk_size(), chunk_);
  read_serial_chunk();
  return false;
}

void veltra_object::open_serial_port() {
  if (port_.is_open()) return;
  log().progress("open port");
  port_.open(settings_.serial_settings, true);
  // A stop that came before the port was open found nothing to close.
  if (stop_requested()) {
    port_.close();
    throw std::runtime_error(stopped_while_reading);
  }
}

void veltra_object::read_serial_chunk() {
  using zet_serialport_lib::zet_serialport_exception;
  // A stop that met a finished read left its bytes to this run.
  if (std::exchange(chunk_is_unread_, false)) return;
  chunk_.clear();
  try {
    const std::uint64_t received = port_.bytes_available();
    const std::uint64_t wanted = std::max(received, settings_.chunk_size);
    port_.read(chunk_, static_cast<std::size_t>(std::min(wanted, most_bytes_per_read)));
  } catch (const zet_serialport_exception& failure) {
    // The stop's own closing of the port is how it wakes a read.
    if (failure.error() != zet_serialport_lib::ERR_SERIALPORT_OPEN || !stop_requested()) throw;
  }
  if (stop_requested()) {
    chunk_is_unread_ = !chunk_.empty();
    throw std::runtime_error(stopped_while_reading);
  }
  if (!port_.is_open()) throw std::runtime_error("serialcommunication error");
}

host_log veltra_object::log() {
  host_log named = settings_.log;
  named.source = handle();
  return named;
}

}  // namespace veltra
