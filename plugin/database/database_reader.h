// database_reader.h - finding the database texts in a trace database file.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace veltra {

// Far more than the archive of a modem's databases, so that those are inflated once.
inline constexpr std::size_t max_held_archive = std::size_t{64} << 20;

// Calls `process` with each JSON text in `bytes`, the whole contents of a trace
// database file: once with all of them, or, for an `archive` (a gzip compressed
// tar archive), once for each of its members in archive order, whatever their
// names. An archive that is cut short or damaged gives the members up to there;
// that may be none, and is not an error.
//
// `process` gets the text to keep. Of one of more than `max_text_size` bytes it may have only one
// byte more than that; a caller refuses those. Runs `process` on the calling thread.
//
// An archive that inflates to more than max_held_archive bytes is inflated twice, and read a
// member at a time.
//
// Throws std::runtime_error with
// - "Invalid gzip data" when an archive cannot be decompressed; `process` has
//   not been called then,
// - "Trace database has missing fields or is invalid" when `process` throws
//   anything; no further text is processed, and the caller discards what
//   `process` has gathered.
void extract_database_texts(std::string bytes, bool archive, std::size_t max_text_size,
                            const std::function<void(std::string text)>& process);

}  // namespace veltra
