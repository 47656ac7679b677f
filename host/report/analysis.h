// analysis.h - what happened in one capture.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/report/at_commands.h"
#include "host/report/cells.h"
#include "host/report/ip_traffic.h"
#include "host/report/losses.h"
#include "host/report/message.h"
#include "host/report/procedure.h"
#include "host/report/verdict.h"

namespace veltra::report {

// The tshark that took part, or why none did.
struct dissection {
  std::string version;                      // empty without tshark
  std::vector<std::string> unknown_fields;  // that this version does not know
  std::string failure;                      // why it ended early; empty if it did not
  std::string lack;                         // one sentence if there is no dissection
};

// The bytes of messages, one behind the other.
class message_bytes {
 public:
  void add(std::span<const std::uint8_t> bytes);

  // Those of message `index`, counted as in analysis::messages.
  std::span<const std::uint8_t> of(std::size_t index) const;

  std::span<const std::uint8_t> all() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::vector<std::size_t> ends_;
};

struct analysis {
  std::string file;  // the capture's name as it was given
  std::uint32_t frames = 0;
  bool is_cut_off = false;
  std::uint64_t begin = 0;  // nanoseconds; the earliest and the latest frame
  std::uint64_t end = 0;
  report::dissection dissection;

  std::vector<message> messages;
  message_bytes bytes;
  std::uint64_t ip_packets_left_out = 0;  // of messages; the sums have them

  std::vector<procedure> procedures;
  std::vector<at_command> at_commands;
  std::vector<cell> cells;
  std::vector<loss> losses;
  ip_summary ip;
  report::verdict verdict;

  std::uint64_t traces_lost() const;
  double seconds() const { return static_cast<double>(end - begin) / 1e9; }
};

// Beyond so many IP packets of a capture only sums are kept.
inline constexpr std::size_t max_ip_messages = 20'000;

// So many bytes of a message are kept, of an IP packet its headers.
inline constexpr std::size_t max_message_bytes = 4096;
inline constexpr std::size_t max_ip_bytes = 128;

// Reads the capture at `path` with the tshark at `tshark`, whose path may be empty. Throws
// host::user_error (bad_input) for a capture that cannot be read; a tshark that fails is a fact of
// the result.
analysis analyse(const std::filesystem::path& path, const std::filesystem::path& tshark);

}  // namespace veltra::report
