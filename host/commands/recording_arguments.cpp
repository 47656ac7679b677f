#include "host/commands/recording_arguments.h"

#include <chrono>
#include <limits>
#include <optional>
#include <utility>

#include "host/commands/file_limits.h"
#include "host/commands/shared_options.h"

namespace veltra::host {

void add_recording_options(CLI::App& app, recording_arguments& given, keeping_options& keeping) {
  app.option_defaults()->group("Series of files, and modems that come and go");
  app.add_option("-b", given.rotation,
                 "Begin the next file after duration:SECONDS, filesize:KB, packets:N or at each "
                 "interval:SECONDS; files:N keeps the latest N, printname:- prints each name")
      ->allow_extra_args(false)
      ->type_name("KEY:VALUE");
  app.add_option("-a", given.end, "End after duration:SECONDS, filesize:KB, packets:N or files:N")
      ->allow_extra_args(false)
      ->type_name("KEY:VALUE");
  app.add_option("-c", given.packets, "End after N decoded packets")
      ->check(CLI::Range(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max()))
      ->type_name("N");
  app.add_flag("--reconnect", given.reconnects,
               "Wait for a port that is not there yet or was lost, and go on with the next file");
  app.add_option("--sync-interval", given.sync_interval,
                 "Make the raw trace safe against a loss of power so often, too, not only file by "
                 "file")
      ->check(CLI::PositiveNumber)
      ->type_name("SECONDS");
  require_nonempty(app.add_option("--on-file", keeping.command,
                                  "Run this command with the name of each complete file"))
      ->type_name("COMMAND");
  app.add_option("--min-free", given.min_free,
                 "Free space that must stay, such as 2G: end before it is less, or with -b files:N "
                 "delete the oldest files")
      ->type_name("SIZE");
}

void add_status_options(CLI::App& app, capture_options& options) {
  app.option_defaults()->group(programs_heading);
  require_nonempty(app.add_option("--status-file", options.status_file,
                                  "Write the capture's state to this file, as JSON"))
      ->type_name("FILE");
  require_nonempty(
      app.add_option("--metrics", options.metrics_file,
                     "Write it in Prometheus' text format, for the textfile collector"))
      ->type_name("FILE");
}

void take_recording_options(const recording_arguments& given, capture_options& options) {
  recording_options& recording = options.run.recording;
  recording.reconnects = given.reconnects;
  if (given.sync_interval > 0) {
    recording.sync_interval = std::chrono::duration<double>(given.sync_interval);
  }
  const rotation_request request = parse_rotation(given.rotation);
  recording.rotation = request.rotation;
  recording.end = parse_end(given.end);
  if (given.packets != 0) recording.end.packets = given.packets;
  // As dumpcap has it, in a series the size is that of each file.
  if (recording.end.bytes && !given.rotation.empty()) {
    recording.rotation.piece.bytes = std::exchange(recording.end.bytes, std::nullopt);
  }
  options.keeping.prints_names = request.prints_names;
  if (!given.min_free.empty()) options.keeping.min_free = parse_size("--min-free", given.min_free);
}

}  // namespace veltra::host
