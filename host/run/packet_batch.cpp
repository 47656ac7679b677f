#include "host/run/packet_batch.h"

#include <algorithm>
#include <string_view>

namespace veltra::host {

void packet_batch::append(const packet& packet, contents wanted, std::uint64_t missed_before) {
  const std::string_view nothing;
  const std::string_view metadata = wanted.metadata ? packet.metadata : nothing;
  const std::string_view payload =
      wanted.raw_bytes || !is_raw(packet) ? payload_text(packet) : nothing;
  const std::string_view parts[] = {packet.layer, packet.category, metadata, payload};
  std::size_t size = 0;
  for (const std::string_view part : parts) size += part.size();
  char* at = bytes_.add(size);
  for (const std::string_view part : parts) at = std::copy(part.begin(), part.end(), at);
  entry& copy = entries_.emplace_back();
  copy.sequence = packet.sequence;
  copy.time = packet.time;
  copy.time_offset = packet.time_offset;
  copy.clock_step = packet.clock_step;
  copy.missed_before = missed_before;
  copy.payload_size = payload.size();
  copy.layer_size = static_cast<std::uint32_t>(packet.layer.size());
  copy.category_size = static_cast<std::uint32_t>(packet.category.size());
  copy.metadata_size = static_cast<std::uint32_t>(metadata.size());
}

void packet_batch::append(boundary boundary) {
  boundaries_.emplace_back(entries_.size(), std::move(boundary));
}

void packet_batch::clear() {
  entries_.clear();
  boundaries_.clear();
  bytes_.clear();
}

}  // namespace veltra::host
