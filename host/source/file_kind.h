// file_kind.h - what a file is that is not a trace.
#pragma once

#include <string>
#include <string_view>

namespace veltra::host {

// What the first bytes of a file show it to be, such as "a pcapng capture"; empty for what may be
// a trace. Certain: no modem begins a trace like that. Any thread.
std::string foreign_kind(std::string_view first_bytes);

// The same of what a trace may begin like as well: "text". Only for a file out of which nothing
// came.
std::string doubtful_kind(std::string_view first_bytes);

// Enough for both.
inline constexpr std::size_t file_kind_bytes = 512;

// The first bytes of a file; empty if it cannot be read or is not a regular file. UTF-8.
std::string first_bytes_of(const std::string& file);

}  // namespace veltra::host
