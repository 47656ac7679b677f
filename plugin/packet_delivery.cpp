#include "plugin/packet_delivery.h"

#include <charconv>
#include <cstddef>
#include <utility>

#include "implementation/json.h"

namespace veltra {

static_assert(sizeof(kovax_stream_packet_t) == 72);
static_assert(offsetof(kovax_stream_packet_t, data) == 0);
static_assert(offsetof(kovax_stream_packet_t, data_size) == 8);
static_assert(offsetof(kovax_stream_packet_t, field_12) == 12);
static_assert(offsetof(kovax_stream_packet_t, format) == 16);
static_assert(offsetof(kovax_stream_packet_t, category) == 24);
static_assert(offsetof(kovax_stream_packet_t, field_32) == 32);
static_assert(offsetof(kovax_stream_packet_t, timestamp) == 40);
static_assert(offsetof(kovax_stream_packet_t, metadata) == 48);
static_assert(offsetof(kovax_stream_packet_t, sequence_number) == 56);
static_assert(offsetof(kovax_stream_packet_t, field_64) == 64);

void packet_delivery::set_data_size(std::uint64_t bytes) {
  data_size_ = bytes;
  constant_members_.clear();
}

void packet_delivery::set_database(std::string path, std::string uuid) {
  database_path_ = std::move(path);
  database_uuid_ = std::move(uuid);
  constant_members_.clear();
}

void packet_delivery::deliver_raw(const packet_receiver& to, std::string_view chunk) {
  while (!chunk.empty()) {
    const std::string_view piece = chunk.substr(0, UINT32_MAX);
    data_offset_ += piece.size();
    kovax_stream_packet_t packet{};
    packet.data = reinterpret_cast<const std::uint8_t*>(piece.data());
    packet.data_size = static_cast<std::uint32_t>(piece.size());
    packet.format = "modem_trace";
    packet.category = "binary";
    deliver(to, packet);
    chunk.remove_prefix(piece.size());
  }
}

void packet_delivery::deliver_decoded(const packet_receiver& to, kovax_stream_packet_t& packet) {
  deliver(to, packet);
}

void packet_delivery::deliver(const packet_receiver& to, kovax_stream_packet_t& packet) {
  packet.metadata = metadata();
  packet.sequence_number = ++packet_counter_;
  if (to.callback != nullptr) to.callback(to.source, to.user_data, packet);
}

const char* packet_delivery::metadata() {
  if (!constant_members_.empty() && metadata_offset_ == data_offset_) return metadata_.c_str();
  if (constant_members_.empty()) {
    std::string members;
    if (data_size_) members += R"(,"data_size":)" + std::to_string(*data_size_);
    members += R"(,"modem_db_path":)" + kovax::json(database_path_).dump();
    members += R"(,"modem_db_uuid":)" + kovax::json(database_uuid_).dump() + "}";
    constant_members_ = std::move(members);
  }
  char digits[20];  // the largest 64-bit number
  const auto end = std::to_chars(digits, digits + sizeof digits, data_offset_).ptr;
  metadata_.assign(R"({"data_offset":)").append(digits, end).append(constant_members_);
  metadata_offset_ = data_offset_;
  return metadata_.c_str();
}

}  // namespace veltra
