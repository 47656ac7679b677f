#include "plugin/database/stream_uuid.h"

#include <algorithm>
#include <cstddef>

#include "plugin/database/uid_search.h"

namespace veltra {

namespace {

constexpr std::size_t window = 65536;

// More than a marker and its UUID take up.
constexpr std::size_t tail_size = 64;

}  // namespace

void stream_uuid::take(std::string_view bytes) {
  while (!found_ && !bytes.empty()) {
    const std::string_view part = bytes.substr(0, window);
    held_.append(part);
    bytes.remove_prefix(part.size());
    if (held_.size() >= window) search();
  }
}

std::optional<std::string> stream_uuid::result() {
  if (!found_) search();
  return found_;
}

void stream_uuid::search() {
  found_ = uid_search().search(held_, {});
  if (found_) {
    held_ = {};
  } else {
    held_.erase(0, held_.size() - std::min(held_.size(), tail_size));
  }
}

}  // namespace veltra
