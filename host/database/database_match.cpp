#include "host/database/database_match.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>

#include "host/console.h"
#include "host/database/database_lint.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

std::string uuid_of_trace(const std::string& trace) {
  const platform::owned_file file(
      platform::open_file(platform::path_from_utf8(trace), platform::open_mode::read));
  database_match match;
  if (!file) return {};  // the run reports it
  std::array<char, 65536> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    match.take({block.data(), count});
  }
  return match.stream_uuid();
}

}  // namespace

std::optional<std::string> describe_mismatch(const std::string& stream_uuid,
                                             const std::string& database_uuid) {
  if (stream_uuid.empty()) return "the trace does not name its database (no UUID in it)";
  if (stream_uuid == database_uuid) return std::nullopt;
  return fmt::format("the trace names the database {}, and the one in use is {}", stream_uuid,
                     database_uuid.empty() ? "without a UUID" : sanitize(database_uuid));
}

void require_match(const std::string& trace, const std::string& stream_uuid,
                   const std::string& database) {
  // Without a UUID in the trace it may not be known which database is meant.
  const std::string uuid = stream_uuid.empty()
                               ? std::string()
                               : lint_database_file(platform::path_from_utf8(database)).uuid;
  if (const auto mismatch = describe_mismatch(stream_uuid, uuid)) {
    throw user_error(
        exit_code::bad_input,
        fmt::format("{}: {}; name the right database, or leave --strict out.", trace, *mismatch));
  }
}

void require_match(const std::string& trace, const std::string& database) {
  require_match(trace, uuid_of_trace(trace), database);
}

}  // namespace veltra::host
