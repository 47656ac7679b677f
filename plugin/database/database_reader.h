// database_reader.h - finding the database texts in a trace database file.
#pragma once

#include <functional>
#include <string_view>

namespace veltra {

// Calls `process` with each JSON text in `bytes`, the whole contents of a trace
// database file: once with all of them, or, for an `archive` (a gzip compressed
// tar archive), once for each of its members in archive order, whatever their
// names. An archive that is cut short or damaged gives the members up to there;
// that may be none, and is not an error.
//
// The text that `process` gets is not ended by a NUL and lives during the call
// only. Runs `process` on the calling thread.
//
// Throws std::runtime_error with
// - "Invalid gzip data" when an archive cannot be decompressed; `process` has
//   not been called then,
// - "Trace database has missing fields or is invalid" when `process` throws
//   anything; no further text is processed, and the caller discards what
//   `process` has gathered.
void extract_database_texts(std::string_view bytes, bool archive,
                            const std::function<void(std::string_view text)>& process);

}  // namespace veltra
