// database_builder.h - trace databases for tests, small and whole.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "implementation/json.h"

namespace test_support {

// The master id that both databases accept.
inline constexpr std::uint32_t database_master = 0x21;

// The smallest database that sets up a decoder: the required fields and a
// decoder configuration.
kovax::json minimal_database();

// A database with every table the conversion of traces uses; the ids are those
// named below.
kovax::json conversion_database();

namespace id {
// "buffers"
inline constexpr auto ip_buffer = "1";
inline constexpr auto randbytes_buffer = "2";
inline constexpr auto session_master_buffer = "3";
inline constexpr auto at_answer_buffer = "4";
inline constexpr auto at_request_buffer = "5";
inline constexpr auto plain_buffer = "6";
// "peer_buffer_layers" and "peer_buffers"
inline constexpr std::uint8_t rrc_layer = 7;
inline constexpr std::uint8_t nas_layer = 8;
inline constexpr auto dl_dcch_buffer = "70";
inline constexpr auto nas_buffer = "80";
// trace ids by type
inline constexpr std::uint32_t peer_dump = 100;
inline constexpr std::uint32_t formatted_at = 200;
inline constexpr std::uint32_t formatted_dropped = 201;
inline constexpr std::uint32_t other = 300;
// "static_strings"
inline constexpr std::uint32_t arrow_out = 900;
inline constexpr std::uint32_t arrow_in = 901;
}  // namespace id

}  // namespace test_support
