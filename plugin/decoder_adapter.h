// decoder_adapter.h - the plug-in's one decoder and the database that it is
// configured from.
#pragma once

#include <dekodrix/dekodrix.h>
#include <dekodrix/statistics.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "plugin/database/host_log.h"
#include "plugin/trace_db_config.h"

namespace veltra {

// Frees a decoded trace's data and record as the library's contract asks.
struct trace_deleter {
  void operator()(dekodrix_trace* trace) const noexcept {
    std::free(trace->data);
    std::free(trace);
  }
};
using decoded_trace = std::unique_ptr<dekodrix_trace, trace_deleter>;

// Owns the decoder handle and the database collection. All calls on one thread
// at a time. What the library throws goes to the caller.
class decoder_adapter {
 public:
  decoder_adapter() = default;
  decoder_adapter(const decoder_adapter&) = delete;
  decoder_adapter& operator=(const decoder_adapter&) = delete;

  // Deletes the decoder, whatever comes of it.
  ~decoder_adapter();

  // The same, but throws what dekodrix_delete throws; there is no decoder then either.
  void delete_decoder();

  // Reads the database file at `path` and configures a new decoder from it.
  // Throws std::runtime_error with the reason. A failure up to reading the
  // database changes nothing; after that the new, unconfigured decoder stays.
  void configure(const std::filesystem::path& path, const host_log& log);

  // False until a decoder exists; only then may the calls below be made.
  bool ready() const noexcept { return handle_ != nullptr; }

  // Hands bytes to the decoder and decodes them.
  void feed(std::string_view bytes);

  // The oldest decoded trace, or null when none is left.
  decoded_trace next_trace() { return decoded_trace(dekodrix_get_trace(handle_)); }

  // How many next_trace() has left.
  std::uint64_t pending_traces() { return dekodrix_get_trace_count(handle_); }

  // What the decoder has counted; nothing if the library does not count.
  std::optional<dekodrix_statistics> statistics() const;

  database_collection& collection() noexcept { return collection_; }

  // The database file in use, UTF-8; empty until one was loaded.
  const std::string& database_path() const noexcept { return database_path_; }

 private:
  void create_decoder();

  dekodrix* handle_ = nullptr;
  database_collection collection_;
  std::string database_path_;
};

}  // namespace veltra
