// file_limits.h - the values of -b, -a and --min-free, as dumpcap's users know them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/run/rotation.h"

namespace veltra::host {

// What -b asks for.
struct rotation_request {
  rotation_options rotation;
  bool prints_names = false;
};

// Each throws user_error (usage) for a value that it does not know. `values` are those of
// an option in their order, such as "filesize:500000" (kB of 1000 bytes); the last of a
// kind counts.
rotation_request parse_rotation(const std::vector<std::string>& values);
file_limits parse_end(const std::vector<std::string>& values);

// "2G", "500M", "64k" or bytes; the units are powers of 1000.
std::uint64_t parse_size(const std::string& option, const std::string& text);

}  // namespace veltra::host
