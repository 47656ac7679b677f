// packet_batch.h - packets on their way from one thread to another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/byte_buffer.h"
#include "host/output/piece.h"
#include "host/source/packet.h"

namespace veltra::host {

// Where one file of a series ends, between two packets.
struct boundary {
  std::optional<piece> next;  // none: it begins later
  std::string remark;         // on the next packet; empty: none
};

// Packets and boundaries in their order, with all of their texts and bytes in one block that
// is kept from batch to batch. One thread at a time.
class packet_batch {
 public:
  // What is copied of a packet; the rest is empty.
  struct contents {
    bool metadata;
    bool raw_bytes;  // the payload of a raw packet
  };

  // Copies the packet. `missed_before` packets did not get here before it.
  void append(const packet& packet, contents wanted, std::uint64_t missed_before);
  void append(boundary boundary);

  bool is_empty() const { return entries_.empty() && boundaries_.empty(); }
  std::size_t size() const { return bytes_.size() + entries_.size() * sizeof(entry); }

  // Calls take_packet(packet, missed_before) and take_boundary(boundary) in their order. A
  // packet's views end with the batch.
  template <typename TakePacket, typename TakeBoundary>
  void for_each(const TakePacket& take_packet, const TakeBoundary& take_boundary) const;

  void clear();

 private:
  struct entry {
    std::uint64_t sequence;
    std::uint64_t time;
    std::uint64_t time_offset;
    std::uint64_t clock_step;
    std::uint64_t missed_before;
    std::size_t begin;  // of layer, category and payload
    std::size_t payload_size;
    std::size_t metadata_begin;
    std::uint32_t layer_size;
    std::uint32_t category_size;
    std::uint32_t metadata_size;
  };

  std::vector<entry> entries_;
  std::vector<std::pair<std::size_t, boundary>> boundaries_;  // each before an entry
  byte_buffer bytes_;
  // Of the latest packet; most packets have those of the one before.
  std::size_t metadata_begin_ = 0;
  std::uint32_t metadata_size_ = 0;
};

template <typename TakePacket, typename TakeBoundary>
void packet_batch::for_each(const TakePacket& take_packet,
                            const TakeBoundary& take_boundary) const {
  const std::string_view bytes = bytes_.view();
  auto next_boundary = boundaries_.begin();
  const auto take_boundaries = [&](std::size_t index) {
    for (; next_boundary != boundaries_.end() && next_boundary->first == index; ++next_boundary) {
      take_boundary(next_boundary->second);
    }
  };
  for (std::size_t index = 0; index < entries_.size(); ++index) {
    take_boundaries(index);
    const entry& each = entries_[index];
    packet packet;
    packet.sequence = each.sequence;
    packet.time = each.time;
    packet.time_offset = each.time_offset;
    packet.clock_step = each.clock_step;
    packet.metadata = bytes.substr(each.metadata_begin, each.metadata_size);
    packet.layer = bytes.substr(each.begin, each.layer_size);
    packet.category = bytes.substr(each.begin + each.layer_size, each.category_size);
    const std::string_view payload =
        bytes.substr(each.begin + each.layer_size + each.category_size, each.payload_size);
    packet.payload = {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()};
    take_packet(packet, each.missed_before);
  }
  take_boundaries(entries_.size());
}

}  // namespace veltra::host
