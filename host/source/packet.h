// packet.h - one packet as the host's own code sees it.
#pragma once

#include <kovax/source.h>

#include <charconv>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>

namespace veltra::host {

// A view of a plug-in's packet record; valid as long as the record, that is
// during the packet callback. Null texts and a null payload read as empty.
struct packet {
  std::uint64_t sequence = 0;
  std::uint64_t time = 0;     // nanoseconds on the modem's clock; 0 for raw packets
  std::string_view layer;     // "modem_trace" for raw packets
  std::string_view category;  // "binary", "network" or "tls"
  std::string_view metadata;  // compact JSON object
  std::span<const std::uint8_t> payload;

  // Set by the run, see capture_clock; both in nanoseconds.
  std::uint64_t time_offset = 0;  // from `time` to the time in a capture, modulo 2^64
  std::uint64_t clock_step = 0;   // by which the modem's clock went back before this packet
};

// The layer of packets that hold the input's bytes as they came.
inline constexpr std::string_view raw_layer = "modem_trace";

inline bool is_raw(const packet& packet) {
  return packet.layer == raw_layer;
}

inline packet make_packet(const kovax_stream_packet_t& record) {
  const auto text = [](const char* value) {
    return value != nullptr ? std::string_view(value) : std::string_view();
  };
  return {.sequence = record.sequence_number,
          .time = record.timestamp,
          .layer = text(record.format),
          .category = text(record.category),
          .metadata = text(record.metadata),
          .payload = {record.data, record.data != nullptr ? record.data_size : 0}};
}

inline std::string_view payload_text(const packet& packet) {
  return {reinterpret_cast<const char*>(packet.payload.data()), packet.payload.size()};
}

// The count in a dropped-traces warning; nothing for every other packet.
inline std::optional<std::uint64_t> dropped_traces(const packet& packet) {
  if (packet.layer != "at") return std::nullopt;
  constexpr std::string_view label = "Dropped traces count: ";
  const std::string_view text = payload_text(packet);
  if (!text.starts_with(label)) return std::nullopt;
  std::uint64_t count = 0;
  const auto [end, error] =
      std::from_chars(text.data() + label.size(), text.data() + text.size(), count);
  if (error != std::errc()) return std::nullopt;
  return count;
}

}  // namespace veltra::host
