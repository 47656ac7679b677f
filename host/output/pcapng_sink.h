// pcapng_sink.h - packets as a pcapng capture (docs/capture-format.md).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/output/block_stream.h"
#include "host/output/dissector_names.h"
#include "host/output/file_sink.h"
#include "host/output/packet_selection.h"
#include "host/output/tls_key_log.h"
#include "host/source/layer_map.h"

namespace veltra::host {

// Writes IP packets as they are and every other layer as an exported PDU, which
// Wireshark dissects without a plug-in; TLS key material becomes the capture's
// decryption secrets. What is not selected is passed over, and the losses that it reports
// are marked on the next packet.
class pcapng_sink : public file_sink {
 public:
  struct settings {
    packet_selection packets = {};
    bool is_live = false;  // packets come as the modem sends them
  };

  pcapng_sink(std::filesystem::path path, settings how);

  void set_provenance(const provenance& facts) override { provenance_ = facts; }
  // Makes this the next capture of a series, before begin(): a handshake may be in one and
  // its master secret in the next, so the key log goes on here. On the thread of both.
  void continue_from(pcapng_sink& previous);

  void write(const packet& packet) override;
  void mark_missed(std::uint64_t count) override;
  void add_remark(std::string_view remark) override;
  bool flush() override;
  bool wants_raw_bytes() const override { return settings_.packets.has(packet_kind::raw); }

 private:
  // What is the same for all packets of a layer.
  struct layer_format {
    packet_kind kind;
    direction way;                       // unknown: a packet's own bytes may tell
    std::array<std::string, 3> headers;  // exported PDU header by direction; empty for IP
    std::string data_header;             // for a payload that its dissector would call malformed
    std::string comment;                 // empty: none
  };
  struct interface {
    std::uint32_t number;
    std::uint64_t received = 0;
    std::uint64_t dropped = 0;
  };

  void write_header() override;
  void put_section_header();
  void take_database(const packet& packet);
  void write_trailer() override;
  // Packets that had to be cut, and key material that makes no secrets.
  std::string packet_remarks() const override;

  void put_raw(const packet& packet);
  void put_key_material(const packet& packet);
  void put_message(const packet& packet, const layer_format& format);
  void pass_over(const packet& packet);
  const layer_format& format_of(std::string_view layer);
  interface& interface_of(packet_kind kind);
  std::uint64_t time_in_capture(const packet& packet);

  const settings settings_;
  provenance provenance_;
  bool has_header_ = false;
  bool has_database_ = false;     // it was looked for in the first packet
  std::string database_comment_;  // for the next interface
  layer_map<layer_format> formats_;
  std::array<std::optional<interface>, packet_kind_count> interfaces_;
  std::uint32_t interface_count_ = 0;
  std::optional<std::int64_t> time_offset_;  // seconds; the same on all interfaces
  std::uint64_t last_time_ = 0;              // as in blocks
  interface* latest_ = nullptr;              // of the latest message
  bool is_timed_ = false;                    // last_time_ is that of a message
  std::uint64_t missed_ = 0;                 // packets before the next one
  std::string remark_;                       // on the next packet
  std::uint64_t step_ = 0;                   // likewise, of the modem's clock
  std::uint64_t uncounted_ = 0;              // of dropped_, for the next packet's interface
  std::uint64_t dropped_ = 0;  // traces before the next packet that does not report them
  tls_key_log key_log_;
  std::optional<block_stream> block_stream_;
  std::uint64_t cut_packets_ = 0;
  std::uint64_t passed_over_ = 0;
  std::string comment_;  // kept between packets to save its allocation
};

}  // namespace veltra::host
