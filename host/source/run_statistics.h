// run_statistics.h - what came out of a run.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/source/layer_map.h"
#include "host/source/packet.h"

namespace veltra::host {

// Counts the packets of a run. One thread.
class run_statistics {
 public:
  void add(const packet& packet);

  // Takes the decoder's counters (event_kind::decoder_counted). Ignores any other text.
  void take_decoder_counts(std::string_view text);

  std::uint64_t damaged_frames() const { return damaged_frames_; }
  // Bytes of the frame in which the trace ended; 0 if it ended between frames.
  std::uint64_t unfinished_bytes() const { return unfinished_bytes_; }

  std::uint64_t raw_bytes() const { return raw_bytes_; }      // bytes of input delivered
  std::uint64_t raw_packets() const { return raw_packets_; }  // in which they came
  std::uint64_t decoded_packets() const { return decoded_packets_; }
  std::uint64_t tls_keys() const { return tls_keys_; }  // among them: key material
  // Whether there was a decoded packet other than a report of losses.
  bool has_content() const { return decoded_packets_ != loss_reports_; }
  std::uint64_t dropped_traces() const { return dropped_traces_; }  // as the modem reported
  const layer_map<std::uint64_t>::values& packets_by_layer() const {
    return packets_by_layer_.all();
  }

  // From the metadata of the latest packet; empty when no database was in use.
  std::string database_uuid() const { return metadata_text("modem_db_uuid"); }
  std::string database_path() const { return metadata_text("modem_db_path"); }

 private:
  std::string metadata_text(const char* key) const;

  std::uint64_t raw_bytes_ = 0;
  std::uint64_t raw_packets_ = 0;
  std::uint64_t decoded_packets_ = 0;
  std::uint64_t tls_keys_ = 0;
  std::uint64_t loss_reports_ = 0;  // among the decoded packets
  std::uint64_t dropped_traces_ = 0;
  std::uint64_t damaged_frames_ = 0;
  std::uint64_t unfinished_bytes_ = 0;
  layer_map<std::uint64_t> packets_by_layer_;
  std::string latest_metadata_;
  bool follows_raw_ = true;  // the next packet, a raw one
};

}  // namespace veltra::host
