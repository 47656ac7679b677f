// veltra_object.h - one source instance: its input, its decoder and its loop.
#pragma once

#include <kovax/source.h>

#include <string>

#include "plugin/database/host_log.h"
#include "plugin/errors.h"
#include "plugin/packet_delivery.h"
#include "plugin/recording.h"
#include "plugin/source_settings.h"
#include "plugin/trace_decoding.h"
#include "plugin/trace_input.h"

namespace veltra {

// The host's handle points to an object of this class. Built, run and destroyed
// on one thread; stop() and error() may be called from any.
class veltra_object {
 public:
  explicit veltra_object(source_settings settings);
  veltra_object(const veltra_object&) = delete;
  veltra_object& operator=(const veltra_object&) = delete;

  // Second step of construction: opens the trace file if there is one (otherwise there
  // must be a serial port) and loads the database if one was named. Throws as
  // trace_file::open and trace_decoding::load_database do.
  void open_input();

  // Reads the input and delivers packets until the file has ended and all its
  // traces were delivered, or stop() was called. Throws on failure. Packets that
  // the decoder holds at a stop wait for the next run, and so do bytes that a serial
  // port has received and no packet has. A stop that ends the wait for serial data is
  // the std::runtime_error "stop extracting". With the setting `recording` a run is
  // that of class recording.
  void run(void* packet_user_data, kovax_packet_callback callback);

  // First step of the destruction, which may fail: throws what the decoding library
  // throws. The destructor does it otherwise, and says nothing of a failure.
  void delete_decoder() { decoding_.delete_decoder(); }

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
  void search_and_extract(const packet_receiver& to);
  void search_database();
  void extract(const packet_receiver& to);
  bool drain_decoder(const packet_receiver& to);
  bool ends_after_this_pass(bool input_ended);
  bool read_chunk();

  // First, as the handle's users expect it.
  last_error error_;
  source_settings settings_;
  packet_delivery delivery_;
  // Destroyed in the opposite order: the decoder goes while its input is still open.
  trace_input input_;
  trace_decoding decoding_;
  recording recording_;
  std::string chunk_;             // kept between passes to save its allocation
  bool chunk_is_unread_ = false;  // received, but a stop came before it was used
};

}  // namespace veltra
