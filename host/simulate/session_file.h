// session_file.h - a modem session written down as text, one message a line.
//
// A line contains, separated by tabs: the time since the session's start in
// microseconds, the layer, the payload in hexadecimal, and, if wanted, a
// summary for people, which is ignored. Lines that begin with '#' are remarks.
// Blank lines, CR LF line ends, a UTF-8 byte order mark and a last line without
// its end are all fine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// Limits for a file that is not what its user thinks it is.
constexpr std::uint64_t max_session_bytes = std::uint64_t{1} << 30;
// About 31 years; as nanoseconds it still leaves room for many repetitions in 64 bits.
constexpr std::uint64_t max_session_time_us = 1'000'000'000'000'000;

// One message of a session.
struct session_message {
  std::uint64_t time_us = 0;  // since the session's start
  std::string layer;          // as the decoded packet names it, such as "lte_rrc.pcch"
  std::string payload;        // bytes, may be empty
  std::size_t line = 0;       // its number in the file, from 1
};

// A session: at least one message, in the file's order.
struct session {
  std::string name;  // the file's name, for sentences about it
  std::vector<session_message> messages;
};

// Reads a session from its text; `name` only serves the sentences. Any thread.
// Throws user_error (bad_input) that names the file, the line and what is wrong.
session parse_session(std::string_view text, std::string name);

// Reads a session from a file. Any thread. Throws user_error (bad_input) like
// parse_session(), or when the file cannot be read.
session read_session(const std::filesystem::path& path);

// Returns text from a session as a sentence can show it: at most 40 bytes, '?' for
// control characters.
std::string printable(std::string_view text);

// Refuses one line of a session: throws user_error (bad_input) "NAME, line N: WHAT".
[[noreturn]] void refuse_line(std::string_view name, std::size_t line, std::string_view what);

}  // namespace veltra::host
