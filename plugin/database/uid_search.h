// uid_search.h - finding the trace database's UUID in the modem's stream.
//
// The firmware writes its database's UUID (text form of RFC 4122) into the trace
// as the argument of the format text "UID %s":
//
//   offset  length
//        0       6  "UID %s"
//        6       1  any byte
//        7      36  the UUID
//       43       2  any bytes, which must have come before the UUID is looked at
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/database/host_log.h"

namespace veltra {

// Collects the stream and searches it as it comes. A search is always logged as if it
// had started over with the first byte: candidates that were rejected before are named
// again, in their order. Only new bytes are searched, so that the work is linear in what
// is read, except for those repeated messages, which are made only for a log that is
// listening.
//
// Memory: the collected bytes, and one position for each rejected candidate.
// One thread at a time.
class uid_search {
 public:
  // Appends `new_bytes` to what was collected and searches. Returns the first
  // UUID, as it is spelt in the stream; nothing if more bytes are needed. Once
  // there is a result, later calls give it again.
  //
  // Logs the size of what is collected, each candidate, and each rejection of a candidate
  // that is not a UUID (as a recoverable failure). What the log callback throws passes
  // through; the bytes are kept then, and the next call searches again.
  std::optional<std::string> search(std::string_view new_bytes, const host_log& log);

  // Every byte given so far, in order. Valid until the next call of search().
  const std::string& cached_data() const { return cached_data_; }

 private:
  std::string_view candidate_at(std::size_t marker) const;
  void log_candidate(std::size_t marker, const host_log& log) const;
  static void log_rejection(const host_log& log);

  std::string cached_data_;
  std::vector<std::size_t> rejected_;  // positions of their markers
  std::size_t unsearched_ = 0;         // no marker that is not in rejected_ begins before it
};

}  // namespace veltra
