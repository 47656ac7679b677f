#include "host/batch/summary_line.h"

#include <filesystem>
#include <optional>
#include <system_error>

#include "host/output/provenance.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

using nlohmann::ordered_json;

ordered_json time_text(const std::optional<utc_time>& time) {
  return time ? ordered_json(format_utc(*time)) : ordered_json();
}

// Nothing for a stream, and for a series, whose name is not that of a file.
std::string digest_of(const std::string& output) {
  const std::filesystem::path path = platform::path_from_utf8(output);
  std::error_code ignored;
  return std::filesystem::is_regular_file(path, ignored) ? sha256_of_file(path) : std::string();
}

}  // namespace

std::string format_summary_line(const std::string& input, const run_ending& ending,
                                const run_report& report) {
  const run_statistics& statistics = report.statistics;
  ordered_json layers = ordered_json::object();
  for (const auto& [layer, count] : statistics.packets_by_layer()) layers[layer] = count;
  const ordered_json line = {{"input", input},
                             {"output", report.output},
                             {"exit_code", static_cast<int>(ending.code)},
                             {"reason", ending.reason},
                             {"packets", report.packets},
                             {"packets_by_layer", std::move(layers)},
                             {"tls_keys", statistics.tls_keys()},
                             {"dropped_traces", statistics.dropped_traces()},
                             {"damaged_frames", statistics.damaged_frames()},
                             {"missed_packets", report.missed},
                             {"gaps", report.gaps},
                             {"trace_uuid", report.stream_uuid},
                             {"database_uuid", statistics.database_uuid()},
                             {"first_time", time_text(report.first_time)},
                             {"last_time", time_text(report.last_time)},
                             {"seconds", report.seconds},
                             {"trace_bytes", statistics.raw_bytes()},
                             {"output_bytes", report.output_bytes},
                             {"output_sha256", digest_of(report.output)}};
  return line.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace veltra::host
