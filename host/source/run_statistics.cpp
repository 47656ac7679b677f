#include "host/source/run_statistics.h"

#include <utility>

#include "host/source/packet.h"
#include "implementation/json.h"

namespace veltra::host {

void run_statistics::add(const packet& packet) {
  const bool raw = is_raw(packet);
  // Another database comes with other bytes, each of which is in a raw packet.
  if (std::exchange(follows_raw_, raw) || raw) latest_metadata_.assign(packet.metadata);
  if (raw) {
    ++raw_packets_;
    raw_bytes_ += packet.payload.size();
    return;
  }
  ++decoded_packets_;
  if (packet.category == "tls") ++tls_keys_;
  if (const auto dropped = host::dropped_traces(packet)) {
    ++loss_reports_;
    dropped_traces_ += *dropped;
  }
  if (std::uint64_t* const count = packets_by_layer_.find(packet.layer)) {
    ++*count;
  } else {
    packets_by_layer_.add(packet.layer, 1);
  }
}

void run_statistics::take_decoder_counts(std::string_view text) {
  const auto counts = kovax::json::parse(text, nullptr, false);
  const auto count = [&](const char* name) -> std::uint64_t {
    if (!counts.is_object() || !counts.contains(name)) return 0;
    const auto& value = counts.at(name);
    return value.is_number_unsigned() ? value.get<std::uint64_t>() : 0;
  };
  damaged_frames_ = count("frames_damaged");
  unfinished_bytes_ = count("bytes_of_unfinished_frame");
}

std::string run_statistics::metadata_text(const char* key) const {
  const auto metadata = kovax::json::parse(latest_metadata_, nullptr, false);
  if (!metadata.is_object() || !metadata.contains(key) || !metadata.at(key).is_string()) return {};
  return metadata.at(key).get<std::string>();
}

}  // namespace veltra::host
