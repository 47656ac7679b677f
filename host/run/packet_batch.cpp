#include "host/run/packet_batch.h"

#include <algorithm>
#include <string_view>

namespace veltra::host {

void packet_batch::append(const packet& packet, contents wanted, std::uint64_t missed_before) {
  const std::string_view nothing;
  const std::string_view metadata = wanted.metadata ? packet.metadata : nothing;
  const std::string_view payload =
      wanted.raw_bytes || !is_raw(packet) ? payload_text(packet) : nothing;
  if (metadata != bytes_.view().substr(metadata_begin_, metadata_size_)) {
    const std::size_t begin = bytes_.size();
    std::copy(metadata.begin(), metadata.end(), bytes_.add(metadata.size()));
    metadata_begin_ = begin;
    metadata_size_ = static_cast<std::uint32_t>(metadata.size());
  }
  const std::size_t begin = bytes_.size();
  char* at = bytes_.add(packet.layer.size() + packet.category.size() + payload.size());
  for (const std::string_view part : {packet.layer, packet.category, payload}) {
    at = std::copy(part.begin(), part.end(), at);
  }
  entry& copy = entries_.emplace_back();
  copy.sequence = packet.sequence;
  copy.time = packet.time;
  copy.time_offset = packet.time_offset;
  copy.clock_step = packet.clock_step;
  copy.missed_before = missed_before;
  copy.begin = begin;
  copy.payload_size = payload.size();
  copy.metadata_begin = metadata_begin_;
  copy.layer_size = static_cast<std::uint32_t>(packet.layer.size());
  copy.category_size = static_cast<std::uint32_t>(packet.category.size());
  copy.metadata_size = metadata_size_;
}

void packet_batch::append(boundary boundary) {
  boundaries_.emplace_back(entries_.size(), std::move(boundary));
}

void packet_batch::clear() {
  entries_.clear();
  boundaries_.clear();
  bytes_.clear();
  metadata_begin_ = metadata_size_ = 0;
}

}  // namespace veltra::host
