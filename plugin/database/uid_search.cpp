#include "plugin/database/uid_search.h"

#include <algorithm>

#include "base/uuid.h"

namespace veltra {

namespace {

constexpr std::string_view marker_text = "UID %s";
constexpr std::size_t candidate_offset = 7;
constexpr std::size_t candidate_size = uuid_size;

// The byte that must be there before a candidate is taken; one less than the
// candidate and two bytes behind it take up.
constexpr std::size_t last_needed_offset = 44;
static_assert(last_needed_offset + 1 == candidate_offset + candidate_size + 2);

// Where the search goes on behind a rejected marker: inside its candidate, so
// that a marker that begins there is found.
constexpr std::size_t continue_offset = 8;
static_assert(continue_offset <= last_needed_offset);

}  // namespace

std::optional<std::string> uid_search::search(std::string_view new_bytes, const host_log& log) {
  cached_data_.append(new_bytes);
  if (log.listening()) {
    log.progress("Cached data for locating database UID: " + std::to_string(cached_data_.size()));
    for (const std::size_t marker : rejected_) {
      log_candidate(marker, log);
      log_rejection(log);
    }
  }
  for (;;) {
    const std::size_t marker = cached_data_.find(marker_text, unsearched_);
    if (marker == std::string::npos) {
      // A marker may have begun at the end, all but its last byte.
      const std::size_t begun = std::min(cached_data_.size(), marker_text.size() - 1);
      unsearched_ = std::max(unsearched_, cached_data_.size() - begun);
      return std::nullopt;
    }
    unsearched_ = marker;
    if (marker + last_needed_offset >= cached_data_.size()) return std::nullopt;
    log_candidate(marker, log);
    const std::string_view candidate = candidate_at(marker);
    if (is_uuid(candidate)) return std::string(candidate);
    rejected_.push_back(marker);
    unsearched_ = marker + continue_offset;
    log_rejection(log);
  }
}

std::string_view uid_search::candidate_at(std::size_t marker) const {
  return std::string_view(cached_data_).substr(marker + candidate_offset, candidate_size);
}

void uid_search::log_candidate(std::size_t marker, const host_log& log) const {
  if (!log.listening()) return;
  std::string message = "found UID: ";
  message += candidate_at(marker);
  log.progress(message);
}

void uid_search::log_rejection(const host_log& log) {
  if (log.listening()) log.recoverable_failure("uuid does not match regex, continue searching ");
}

}  // namespace veltra
