// trace_decoding.h - from the input's bytes to packets: the decoder, its database, and
// the search for that database in the stream.
#pragma once

#include <kovax/source.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "plugin/database/host_log.h"
#include "plugin/database/uid_search.h"
#include "plugin/decoder_adapter.h"
#include "plugin/packet_delivery.h"
#include "plugin/source_settings.h"

namespace veltra {

// A decoded trace and the packet that it makes, if a rule knows it. The packet's
// pointers are valid while the trace lives and no other trace is taken.
struct converted_trace {
  decoded_trace trace;  // null: none was left
  std::optional<kovax_stream_packet_t> packet;
};

// One thread.
class trace_decoding {
 public:
  // Keeps both arguments, which must outlive this object. A database that is loaded is
  // named in the packets that `delivery` delivers from then on.
  trace_decoding(const source_settings& settings, packet_delivery& delivery)
      : settings_(settings), delivery_(delivery) {}

  // Sets the decoder up from the database file at `path`, as decoder_adapter does.
  void load_database(const std::filesystem::path& path);

  // False until a decoder exists.
  bool is_ready() const noexcept { return decoder_.ready(); }

  // True while the stream has to name the database, and there are directories to find
  // it in.
  bool is_searching() const noexcept {
    return !is_ready() && !settings_.database_directories.empty();
  }

  // Logs that a run begins with a search.
  static void begin_search(const host_log& log);

  // Searches the stream, of which `chunk` is the next part. Once it has named its
  // database, sets the decoder up with it and gives it everything searched; then
  // is_ready(). Logs to `log`, which carries the instance. Throws what uid_search,
  // locate_database_directory, find_database_file, load_database and feed throw.
  void search(std::string_view chunk, const host_log& log);

  // The failure of a search that met the end of the stream: a veltra_exception with
  // KOVAX_RESULT_NO_DATABASE_UID.
  [[noreturn]] static void throw_search_failed();

  // Everything that was searched.
  const std::string& searched_bytes() const noexcept { return search_.cached_data(); }

  // Deletes the decoder, if there is one. Throws what the library throws.
  void delete_decoder() { decoder_.delete_decoder(); }

  // The calls below need a decoder. They throw what the library throws.

  // Hands bytes to the decoder and decodes them.
  void feed(std::string_view bytes) { decoder_.feed(bytes); }

  // Logs what the decoder has counted, as a JSON object, if it counts.
  void log_statistics(const host_log& log) const;

  std::uint64_t pending_traces() { return decoder_.pending_traces(); }

  // Takes the oldest decoded trace and converts it (convert_trace). A trace whose
  // conversion throws is gone.
  converted_trace next_trace();

 private:
  const source_settings& settings_;
  packet_delivery& delivery_;
  decoder_adapter decoder_;
  uid_search search_;
};

}  // namespace veltra
