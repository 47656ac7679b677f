// archive_lint.h - the members of a compressed archive, and what keeps them from being read.
#pragma once

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

// Takes `bytes`, a gzip-compressed tar archive, apart, also behind what the plug-in's
// reader does not know and ends at (docs/database-format.md). Any thread.
archive_contents inspect_archive(std::string_view bytes);

}  // namespace veltra::host
