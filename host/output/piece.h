// piece.h - one file of a series, such as NAME_00001_20240501120000.pcapng.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace veltra::host {

// Raw trace and capture of one piece carry the same number and time.
struct piece {
  std::uint32_t number = 0;  // from 1 on in every run
  std::int64_t begin = 0;    // seconds since 1970 (UTC)

  bool operator==(const piece&) const = default;
};

// The file of `piece` in the series of `base`: number and local time go in front of the
// extension. Any thread.
std::filesystem::path piece_path(const std::filesystem::path& base, const piece& piece);

// The files of the series of `base` that are there, of whatever run, the one that began
// first in front. Looks into the directory; one that cannot be read has none.
std::vector<std::filesystem::path> find_pieces(const std::filesystem::path& base);

}  // namespace veltra::host
