#include "host/commands/packet_sink.h"

#include <fmt/format.h>

#include "host/output/jsonl_sink.h"
#include "host/output/key_log_sink.h"
#include "host/output/output_failure.h"
#include "host/output/output_file.h"
#include "host/output/pcapng_sink.h"
#include "host/output/same_file.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

std::unique_ptr<sink> make_packet_sink(const output_options& options, const input& input) {
  const std::filesystem::path path = platform::path_from_utf8(options.file);
  std::unique_ptr<file_sink> made;
  if (options.format == "jsonl") {
    made = std::make_unique<jsonl_sink>(path, options.packets,
                                        options.metadata.value_or(metadata_use::each));
  } else {
    made = std::make_unique<pcapng_sink>(
        path, pcapng_sink::settings{.packets = options.packets, .is_live = input.is_live()});
  }
  if (!options.is_synced) made->skip_sync();
  return made;
}

std::unique_ptr<sink> make_key_log(const output_options& options) {
  if (options.key_log.empty()) return nullptr;
  const std::filesystem::path path = platform::path_from_utf8(options.key_log);
  check_output_place("cannot write", path);
  auto made = std::make_unique<key_log_sink>(path);
  if (!options.is_synced) made->skip_sync();
  return made;
}

void refuse_same_output(const std::string& output, const std::string& other) {
  if (!is_same_file(platform::path_from_utf8(output), platform::path_from_utf8(other))) return;
  throw user_error(exit_code::usage, fmt::format("{} cannot be two outputs; give two names.",
                                                 output_name(platform::path_from_utf8(output))));
}

void check_wireshark_output(const output_options& options) {
  if (options.format != "pcapng") {
    throw user_error(
        exit_code::usage,
        fmt::format("Wireshark does not read {}; leave out --wireshark, or the format.",
                    options.format));
  }
  if (!options.file.empty() && output_file::is_stream(platform::path_from_utf8(options.file))) {
    throw user_error(
        exit_code::usage,
        fmt::format("--wireshark opens a file, and {} is not one; leave out one of the "
                    "two.",
                    output_name(platform::path_from_utf8(options.file))));
  }
}

rotating_sink::factory make_packet_piece_factory(const output_options& options,
                                                 const input& input) {
  return [options, &input](const std::filesystem::path& path, sink* previous) {
    output_options of_piece = options;
    of_piece.file = platform::path_to_utf8(path);
    std::unique_ptr<sink> made = make_packet_sink(of_piece, input);
    // All pieces have one format.
    auto* const capture = dynamic_cast<pcapng_sink*>(made.get());
    if (auto* const before = dynamic_cast<pcapng_sink*>(previous); capture && before) {
      capture->continue_from(*before);
    }
    return made;
  };
}

void refuse_file_of_cache(const std::string& output, const database_options& database) {
  if (!is_file_of_cache(platform::path_from_utf8(output),
                        platform::path_from_utf8(database.cache))) {
    return;
  }
  throw user_error(exit_code::usage,
                   fmt::format("the output would replace {}, a file of the cache {}; name another "
                               "file.",
                               output, database.cache));
}

void refuse_metadata_without_effect(const output_options& options) {
  if (!options.metadata || options.format == "jsonl") return;
  throw user_error(exit_code::usage,
                   "--metadata is about JSON Lines, and a pcapng capture has no metadata of its "
                   "packets; leave it out, or add -f jsonl.");
}

void refuse_time_base_without_effect(const run_options& options) {
  if (!options.times || options.output.format != "jsonl") return;
  throw user_error(exit_code::usage,
                   "--time-base sets the times of a pcapng capture, and JSON Lines keep the "
                   "modem's; leave one of the two out.");
}

}  // namespace veltra::host
