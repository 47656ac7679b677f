// pcapng_sink.h - packets as a pcapng capture (docs/capture-format.md).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "host/output/block_stream.h"
#include "host/output/dissector_names.h"
#include "host/output/file_sink.h"
#include "host/output/tls_key_log.h"

namespace veltra::host {

// Writes IP packets as they are and every other layer as an exported PDU, which
// Wireshark dissects without a plug-in; TLS key material becomes the capture's
// decryption secrets. Raw packets are passed over unless they are asked for.
class pcapng_sink : public file_sink {
 public:
  struct settings {
    bool with_raw_packets = false;
    bool is_live = false;  // packets come as the modem sends them
  };

  pcapng_sink(std::filesystem::path path, settings how);

  // Makes this the next capture of a series, before begin(): a handshake may be in one and
  // its master secret in the next, so the key log goes on here. On the thread of both.
  void continue_from(pcapng_sink& previous);

  void write(const packet& packet) override;
  void mark_missed(std::uint64_t count) override;
  void add_remark(std::string_view remark) override;
  bool flush() override;

 private:
  static constexpr std::size_t kinds = 6;

  // What is the same for all packets of a layer.
  struct layer_format {
    packet_kind kind;
    direction way;
    std::string header;       // exported PDU header; empty for IP
    std::string data_header;  // for a payload that its dissector would call malformed
    std::string comment;      // empty: none
  };
  struct interface {
    std::uint32_t number;
    std::uint64_t received = 0;
    std::uint64_t dropped = 0;
  };

  void write_header() override;
  void write_trailer() override;
  // Packets that had to be cut, and key material that makes no secrets.
  std::string packet_remarks() const override;

  void put_raw(const packet& packet);
  bool put_key_material(const packet& packet);
  void put_message(const packet& packet);
  const layer_format& format_of(std::string_view layer);
  interface& interface_of(packet_kind kind);

  const settings settings_;
  std::map<std::string, layer_format, std::less<>> formats_;
  std::array<std::optional<interface>, kinds> interfaces_;
  std::uint32_t interface_count_ = 0;
  std::uint64_t last_time_ = 0;
  std::uint64_t missed_ = 0;  // before the next packet
  std::string remark_;        // for the next packet
  tls_key_log key_log_;
  std::optional<block_stream> block_stream_;
  std::uint64_t cut_packets_ = 0;
  std::string block_;  // kept between packets to save its allocation
};

}  // namespace veltra::host
