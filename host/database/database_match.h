// database_match.h - whether the database in use is the one that the stream names.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plugin/database/stream_uuid.h"

namespace veltra::host {

// Searches a run's stream for the UUID of its database. One thread.
class database_match {
 public:
  // Takes the next bytes of the stream.
  void take(std::string_view bytes) { search_.take(bytes); }

  // The UUID that the stream names; empty: none so far.
  std::string stream_uuid() { return search_.result().value_or(""); }

 private:
  veltra::stream_uuid search_;
};

// Why the database of `database_uuid` may be the wrong one, as a sentence's beginning;
// nothing if it is the one that the stream names.
std::optional<std::string> describe_mismatch(const std::string& stream_uuid,
                                             const std::string& database_uuid);

// Throws user_error (bad_input) unless the trace named `trace`, in which `stream_uuid` was found,
// names the database in `database`.
void require_match(const std::string& trace, const std::string& stream_uuid,
                   const std::string& database);

// Throws user_error (bad_input) unless the file `trace` names the database in `database`.
void require_match(const std::string& trace, const std::string& database);

}  // namespace veltra::host
