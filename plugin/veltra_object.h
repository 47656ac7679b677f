// veltra_object.h - one source instance: its input, its decoder and its loop.
#pragma once

#include <kovax/source.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "implementation/zet_serialport/zet_serialport.h"
#include "implementation/zet_serialport/zet_serialport_settings.h"
#include "plugin/database/host_log.h"
#include "plugin/database/uid_search.h"
#include "plugin/decoder_adapter.h"
#include "plugin/packet_delivery.h"
#include "plugin/run_guarded.h"
#include "plugin/trace_file.h"

namespace veltra {

// What is read at once becomes one packet, whose size has 32 bits.
inline constexpr std::uint64_t most_bytes_per_read = UINT32_MAX;

// What an instance is built from.
struct source_settings {
  host_log log;
  std::string serial_port;  // empty: none
  zet_serialport_lib::zet_serialport_settings serial_settings{
      .baud_rate = 1000000,
      .parity = zet_serialport_lib::parity::none,
      .stop_bits = zet_serialport_lib::stop_bits::one,
      .flow_control = zet_serialport_lib::flow_control::none,
      .character_size = 8};
  std::uint64_t chunk_size = 1024;                // bytes per read, at least 1
  std::string database_file;                      // UTF-8; empty: none named
  std::vector<std::string> database_directories;  // where a database is looked for by its UUID

  // Bytes per read of a file. A serial port gives more when it has more.
  std::uint64_t file_chunk_size() const { return std::min(chunk_size, most_bytes_per_read); }
};

// The host's handle points to an object of this class. Built, run and destroyed
// on one thread; stop() and error() may be called from any.
class veltra_object {
 public:
  explicit veltra_object(source_settings settings);
  veltra_object(const veltra_object&) = delete;
  veltra_object& operator=(const veltra_object&) = delete;

  // Throws what deleting the decoder throws; everything is freed all the same.
  ~veltra_object() noexcept(false) = default;

  // Second step of construction: opens the trace file, unless `utf8_path` is
  // empty (then there must be a serial port), and loads the database if one was
  // named. Throws as trace_file::open and decoder_adapter::load_database do.
  void set_trace_file(const std::string& utf8_path);

  // Reads the input and delivers packets until the file has ended and all its
  // traces were delivered, or stop() was called. Throws on failure. Packets that
  // the decoder holds at a stop wait for the next run, and so do bytes that a serial
  // port has received and no packet has. A stop that ends the wait for serial data is
  // the std::runtime_error "stop extracting".
  void run(void* packet_user_data, kovax_packet_callback callback);

  // Makes a running run() end soon. Throws what the log callback throws.
  void stop();

  last_error& error() noexcept { return error_; }

  // The instance as the host knows it, and back.
  kovax_source* handle() noexcept { return reinterpret_cast<kovax_source*>(this); }
  static veltra_object& from_handle(kovax_source* source) noexcept {
    return *reinterpret_cast<veltra_object*>(source);
  }

 private:
  // The host's log for messages that belong to this instance.
  host_log log();
  void load_database(const std::filesystem::path& path);
  bool stop_requested() const { return stop_requested_.load() != 0; }

  void locate_database();
  std::optional<std::string> search_uuid();
  void open_serial_port();
  void read_serial_chunk();
  bool file_mode() const { return file_.is_open(); }
  void extract(const packet_receiver& to);
  bool drain_decoder(const packet_receiver& to);
  bool ends_after_this_pass(bool input_ended);
  bool read_chunk();

  // First, as the handle's users expect it.
  last_error error_;
  source_settings settings_;
  // Destroyed in the opposite order: the decoder goes while its input is still open.
  trace_file file_;
  zet_serialport_lib::zet_serialport port_;  // used only when not in file mode
  decoder_adapter decoder_;
  uid_search uid_search_;
  packet_delivery delivery_;
  std::atomic<std::uint8_t> stop_requested_{0};
  std::string chunk_;             // kept between passes to save its allocation
  bool chunk_is_unread_ = false;  // received, but a stop came before it was used
};

}  // namespace veltra
