// trace_ids.h - the numbers that the virtual modem's traces and its trace database
// share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace veltra::host {

// The traced core.
constexpr std::uint32_t core_master_id = 3;
constexpr std::string_view core_name = "MCU";

// Every trace begins with its id, this many bytes, little-endian.
constexpr std::size_t trace_id_size = 2;

// Trace ids.
constexpr std::uint16_t trace_database_uid = 0x0010;  // of no type: never a packet
constexpr std::uint16_t trace_buffer_dump = 0x0100;   // of no type: its buffer says what it is
constexpr std::uint16_t first_peer_dump = 0x0200;
constexpr std::uint16_t trace_peer_dump_at = 0x0200;
constexpr std::uint16_t trace_peer_dump_rrc = 0x0201;
constexpr std::uint16_t trace_peer_dump_nas = 0x0202;
constexpr std::uint16_t last_peer_dump = 0x02FF;
constexpr std::uint16_t first_formatted = 0x0300;
constexpr std::uint16_t trace_at_read_command = 0x0300;
constexpr std::uint16_t trace_at_information = 0x0301;
constexpr std::uint16_t last_formatted = 0x03FF;
constexpr std::uint16_t trace_system_warning = 0x0FFF;

// Peer layers.
constexpr std::uint8_t peer_layer_at = 1;
constexpr std::uint8_t peer_layer_rrc = 2;
constexpr std::uint8_t peer_layer_nas = 3;
constexpr std::uint8_t peer_layer_pdcp = 4;
constexpr std::uint8_t peer_layer_tls = 5;

// Buffers whose name alone makes a packet, whatever the trace's type. A trace of
// any other kind has content where a dump has its buffer id, and that content is
// read as one too. In a system warning that is seven bytes, one of which must be
// the terminator, so an id of seven digits is out of its reach; formatted AT
// texts are checked when they are built.
constexpr std::uint32_t buffer_user_plane = 1'000'001;
constexpr std::uint32_t buffer_tls_random = 1'000'002;
constexpr std::uint32_t buffer_tls_master = 1'000'003;

// Buffers that only a peer dump looks at.
constexpr std::uint32_t buffer_at_command = 101;
constexpr std::uint32_t buffer_at_answer = 102;
constexpr std::uint32_t first_peer_buffer = 201;

// Static strings that give the direction of a formatted AT trace.
constexpr std::uint32_t string_at_command = 1;
constexpr std::string_view string_at_command_text = "=>";
constexpr std::uint32_t string_at_answer = 2;
constexpr std::string_view string_at_answer_text = "<=";

// A system warning: the id, then two counts of this many bytes each.
constexpr std::size_t drop_count_size = 4;

}  // namespace veltra::host
