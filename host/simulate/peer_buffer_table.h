// peer_buffer_table.h - which peer buffer carries the messages of which layer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace veltra::host {

// One peer buffer of the virtual modem.
struct peer_buffer {
  std::uint32_t id = 0;
  std::uint8_t layer_id = 0;  // peer layer that its messages belong to
  std::string layer;          // layer of the decoded packets, such as "nas-eps"
  std::string type;           // such as "ASN_pcch_nb" or "NAS_PDU"
};

// The peer buffers, in the order of their ids. Every ordinary layer has one from
// the start, so that one trace database serves all ordinary sessions; layers
// with names of their own follow as they are met. One thread at a time.
class peer_buffer_table {
 public:
  peer_buffer_table();

  // Returns the buffer for a layer, adding it if need be, or null if messages of
  // that layer cannot be carried. The pointer is good until the next call.
  const peer_buffer* find_or_add(std::string_view layer);

  const std::vector<peer_buffer>& buffers() const noexcept { return buffers_; }

 private:
  std::vector<peer_buffer> buffers_;
  std::unordered_map<std::string, std::size_t> index_;  // by layer
};

}  // namespace veltra::host
