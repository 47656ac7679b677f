#include "plugin/trace_decoding.h"

#include <fmt/format.h>

#include <utility>

#include "platform/file.h"
#include "plugin/database/database_locator.h"
#include "plugin/errors.h"
#include "plugin/limits.h"
#include "plugin/source_properties.h"

namespace veltra {

void trace_decoding::load_database(const std::filesystem::path& path) {
  decoder_.configure(path, settings_.log);
  delivery_.set_database(decoder_.database_path(), decoder_.collection().uuid);
}

void trace_decoding::begin_search(const host_log& log) {
  log.progress("dekodrix not set start waiting for db uuid");
  log.progress("start locating db UID from trace data");
}

void trace_decoding::throw_search_failed() {
  throw veltra_exception(KOVAX_RESULT_NO_DATABASE_UID,
                         "End of file reached while searching for the database UID");
}

void trace_decoding::search(std::string_view chunk, const host_log& log) {
  const std::optional<std::string> uuid = search_.search(chunk, log);
  if (!uuid) return;
  const std::filesystem::path directory =
      locate_database_directory(settings_.database_directories, *uuid, log);
  log.progress("db located at path: " + platform::path_to_utf8(directory));
  load_database(find_database_file(directory));
  decoder_.feed(search_.cached_data());
}

converted_trace trace_decoding::next_trace() {
  decoded_trace trace = decoder_.next_trace();
  if (!trace) return {};
  if (trace->data_length > max_packet_bytes) {
    settings_.log.recoverable_failure(
        fmt::format("a trace of {} bytes is cut to {}", trace->data_length, max_packet_bytes));
  }
  trace_db_config* const config = decoder_.collection().find_config_for_master(trace->master_id);
  if (config == nullptr) return {std::move(trace), std::nullopt};
  const dekodrix_trace& content = *trace;
  return {std::move(trace), convert_trace(*config, content)};
}

void trace_decoding::log_statistics(const host_log& log) const {
  const auto statistics = decoder_.statistics();
  if (!statistics) return;
  log.progress(fmt::format(R"(dekodrix statistics: {{"frames_found":{},"frames_intact":{},)"
                           R"("frames_damaged":{},"frames_of_unknown_masters":{},)"
                           R"("bytes_outside_frames":{},"bytes_of_unfinished_frame":{}}})",
                           statistics->frames_found, statistics->frames_intact,
                           statistics->frames_damaged, statistics->frames_of_unknown_masters,
                           statistics->bytes_outside_frames,
                           statistics->bytes_of_unfinished_frame));
}

}  // namespace veltra
