// utc_time.h - points in time as people write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace veltra::host {

// Nanoseconds since 1970-01-01 UTC, without leap seconds.
using utc_time = std::uint64_t;

// The time of a text after ISO 8601 in the extended format, with its zone, such as
// 2024-05-01T12:00:00Z or 2024-05-01T14:00:00.5+02:00; from 1970 to 2261. Nothing for
// other texts.
std::optional<utc_time> parse_utc(std::string_view text);

// As 2024-05-01T12:00:00.000000000Z.
std::string format_utc(utc_time time);

}  // namespace veltra::host
