// source_session.h - one instance of the plug-in with a host that notes all that
// it gets.
#pragma once

#include <kovax/source.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "tests/support/plugin_library.h"

namespace test_support {

// A packet with copies of everything in it.
struct received_packet {
  kovax_source* source = nullptr;
  std::string data;
  std::uint32_t data_size = 0;
  std::uint32_t field_12 = 0;
  std::string format;
  std::string category;
  std::uint64_t field_32 = 0;
  std::uint64_t timestamp = 0;
  std::string metadata;
  std::uint64_t sequence_number = 0;
  std::uint64_t field_64 = 0;
  std::size_t decoder_calls = 0;  // recorded by the scripted decoder before the packet came

  bool is_raw() const { return format == "modem_trace"; }
};

struct log_line {
  kovax_source* source;
  std::int32_t level;
  std::string text;

  bool operator==(const log_line&) const = default;
};

struct reported_error {
  std::string message;
  std::int32_t code;

  bool operator==(const reported_error&) const = default;
};

// The host's side of one instance. Every callback checks that it got its own
// user data. What a hook throws goes into the plug-in.
class source_session {
 public:
  source_session();
  source_session(const source_session&) = delete;
  source_session& operator=(const source_session&) = delete;
  ~source_session();  // releases the instance if there is one

  // What kovax_source_init gets. The text and the record are gone and overwritten
  // when init() returns.
  std::int32_t init(const std::string& parameters);
  std::int32_t init(const kovax::json& parameters) { return init(parameters.dump()); }
  std::int32_t start();
  std::int32_t stop();
  std::int32_t release();
  reported_error last_error();

  kovax_source* handle() const { return handle_; }

  // Set before init or start.
  bool without_log = false;
  bool without_error = false;
  bool note_packets = true;
  std::function<void(const received_packet&)> on_packet;
  std::function<void(const log_line&)> on_log;
  std::function<void()> on_error;

  std::vector<received_packet> packets;
  std::vector<log_line> logs;
  std::vector<reported_error> errors;

  std::vector<received_packet> raw() const;
  std::vector<received_packet> decoded() const;
  std::vector<std::string> log_texts() const;
  // As if nothing had been logged yet; during a run, too.
  void forget_logs();
  // The payloads of the raw packets, joined.
  std::string raw_bytes() const;

 private:
  enum class role { log, error, packet };
  struct user_data {
    role used_for;
    source_session* session;
  };

  static source_session& session_of(void* data, role expected);
  static void take_log(kovax_source* source, void* data, std::int32_t level, const char* message);
  static void take_error(void* data, kovax_error_t error);
  static void take_packet(kovax_source* source, void* data, kovax_stream_packet_t packet);

  user_data for_log_{role::log, this};
  user_data for_error_{role::error, this};
  user_data for_packet_{role::packet, this};
  kovax_source* handle_ = nullptr;
  std::mutex log_mutex_;  // start and stop log on threads of their own
};

}  // namespace test_support
