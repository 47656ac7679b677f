// text_lint.h - the rules of docs/database-format.md, checked in a database's JSON text.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/finding.h"

namespace veltra::host {

// What a text says about itself, as far as it could be read.
struct linted_text {
  std::string uuid;
  std::string name;
  std::set<std::uint32_t> master_ids;
  bool has_decoder_config = false;
  std::vector<finding> findings;  // without "member"
};

// Checks every field that the plug-in reads. A text without a fatal finding is one that
// process_database_text() takes. Any thread.
linted_text lint_database_text(std::string_view text);

}  // namespace veltra::host
