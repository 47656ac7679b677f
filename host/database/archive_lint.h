// archive_lint.h - the members of a compressed archive, and what keeps them from being read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/finding.h"

namespace veltra::host {

struct archive_member {
  std::string name;
  std::string text;
  bool is_read = true;  // false: the plug-in's reader ends before it
};

struct archive_contents {
  std::vector<archive_member> members;  // the regular files
  std::vector<finding> findings;
};

// Bytes of an archive that are inflated into memory. Checking takes several times as much.
inline constexpr std::uint64_t max_checked_archive = std::uint64_t{512} << 20;

// Takes `bytes`, a gzip-compressed tar archive, apart, also behind what the plug-in's
// reader does not know and ends at (docs/database-format.md). One that inflates to more than
// `max_size` bytes is a finding. Any thread.
archive_contents inspect_archive(std::string_view bytes,
                                 std::uint64_t max_size = max_checked_archive);

}  // namespace veltra::host
