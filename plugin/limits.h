// limits.h - limits for input that is hostile, or not what its user thinks it is.
//
// They are far above what modems and their databases need. docs/database-format.md and
// docs/init-parameters.md say what happens beyond them; the limit for what comes out of a
// compressed archive is decompression_limit in plugin/database/gzip.h.
#pragma once

#include <cstddef>
#include <cstdint>

namespace veltra {

// Bytes of one database's JSON text. What is parsed of it takes about four times as much memory,
// and up to 18 times if it is hostile.
inline constexpr std::size_t max_database_text_bytes = std::size_t{256} << 20;

// Levels of arrays and objects in a database. The JSON library parses any number of
// them, but copying and printing a value recurse, at some hundred bytes of stack a
// level, and an archive of 452 bytes holds 80000 levels. This many do with 100 KiB,
// less than any thread has, and are far more than a database needs.
inline constexpr std::size_t max_nesting = 512;

// Bytes of a packet, whose size has 32 bits.
inline constexpr std::uint64_t max_packet_bytes = UINT32_MAX;

}  // namespace veltra
