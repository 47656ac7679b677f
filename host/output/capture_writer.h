// capture_writer.h - decoded packets into a pcapng capture (docs/capture-format.md).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/output/dissector_names.h"
#include "host/output/packet_consumer.h"
#include "host/output/secrets_place.h"
#include "host/output/tls_key_log.h"
#include "host/output/output_file.h"

namespace veltra::host {

// Writes IP packets as they are and every other layer as an exported PDU, which
// Wireshark dissects without a plug-in; TLS key material becomes the capture's
// decryption secrets. Raw packets are passed over unless they are asked for. One
// thread.
class capture_writer : public packet_consumer {
 public:
  struct settings {
    bool with_raw_packets = false;
    bool streamed = false;  // read while it is written
  };

  // `file` must outlive the writer, and have random access unless it is streamed.
  capture_writer(output_file& file, settings how);

  void consume(const packet& packet) override;
  void finish() override;
  void finish_without_room() override;
  bool flush() override;

  // Packets that had to be cut, and key material that makes no secrets.
  std::string remarks() const override;

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

  void put_raw(const packet& packet);
  bool put_key_material(const packet& packet);
  void put_message(const packet& packet);
  const layer_format& format_of(std::string_view layer);
  interface& interface_of(packet_kind kind);

  const bool with_raw_packets_;
  std::map<std::string, layer_format, std::less<>> formats_;
  std::array<std::optional<interface>, kinds> interfaces_;
  std::uint32_t interface_count_ = 0;
  std::uint64_t last_time_ = 0;
  tls_key_log key_log_;
  const std::unique_ptr<secrets_place> blocks_;
  std::uint64_t cut_packets_ = 0;
  std::string block_;  // kept between packets to save its allocation
};

}  // namespace veltra::host
