#include "tests/support/uid_search_reference.h"

#include <regex>

namespace test_support {

std::optional<std::string> uid_search_reference::search(std::string_view new_bytes,
                                                        const veltra::host_log& log) {
  static const std::regex uuid(
      "^([a-f0-9]{8})-([a-f0-9]{4})-([a-f0-9]{4})-([a-f0-9]{4})-[a-f0-9]{12}$",
      std::regex::ECMAScript | std::regex::icase);
  cached_data_ += new_bytes;
  log.progress("Cached data for locating database UID: " + std::to_string(cached_data_.size()));
  std::string copy = cached_data_;
  if (copy.size() < 6) return std::nullopt;
  std::size_t p = copy.find("UID %s");
  while (p != std::string::npos) {
    if (!(p + 44 < copy.size())) return std::nullopt;
    const std::string candidate = copy.substr(p + 7, 36);
    log.progress("found UID: " + candidate);
    if (std::regex_match(candidate, uuid)) return candidate;
    log.recoverable_failure("uuid does not match regex, continue searching ");
    copy = copy.substr(p + 8);
    p = copy.find("UID %s");
  }
  return std::nullopt;
}

}  // namespace test_support
