#include "host/commands/shared_options.h"

#include <fmt/format.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace veltra::host {

namespace {

constexpr std::uint64_t max_chunk_size = std::uint64_t{1} << 30;

// What is wrong with the text of --time-base; empty if it is one.
std::string check_time_base(const std::string& text) {
  if (text == "host" || text == "modem" || parse_utc(text)) return {};
  return fmt::format("{} is neither host nor modem nor a time such as 2024-05-01T12:00:00Z",
                     text.empty() ? "it" : text);
}

time_base time_base_named(const std::string& text) {
  using enum time_base::kind;
  if (text == "host") return {host};
  if (text == "modem") return {modem};
  return {given, parse_utc(text).value_or(0)};
}

void add_selection_options(CLI::App& app, output_options& output) {
  packet_selection& packets = output.packets;
  app.add_option_function<std::vector<std::string>>(
         "--layers",
         [&packets](const std::vector<std::string>& names) {
           const bool has_raw = packets.has(packet_kind::raw);
           packets.kinds.reset();
           for (const std::string& name : names) packets.add(*kind_named(name));
           if (has_raw) packets.add(packet_kind::raw);
         },
         fmt::format("Write only packets of these interfaces: {}", fmt::join(kind_names(), ", ")))
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(kind_names()))
      ->type_name("NAME,...");
  app.add_flag_callback(
      "--raw-packets", [&packets] { packets.add(packet_kind::raw); },
      "Write the trace's own bytes, too, chunk by chunk");
  app.add_flag_callback(
      "--no-secrets", [&packets] { packets.with_secrets = false; },
      "Leave out the TLS secrets, for a capture that others get");
  require_nonempty(
      app.add_option("--keylog", output.key_log, "Write the TLS secrets to this key log file, too"))
      ->type_name("FILE");
}

}  // namespace

namespace {

constexpr std::uint32_t max_timeout_s = 3600;

}  // namespace

CLI::Option* require_nonempty(CLI::Option* option) {
  return option->check(
      [](const std::string& text) {
        return text.empty() ? std::string("the name is empty") : std::string();
      },
      "");
}

void add_catalogue_options(CLI::App& app, database_options& options, CLI::Option* cache) {
  CLI::Option* const location =
      require_nonempty(app.add_option("--location", options.locations,
                                      "Where the cache's catalogue config.json is; may be given "
                                      "again, the best first"))
          ->allow_extra_args(false)
          ->type_name("URL");
  const std::vector<CLI::Option*> others = {
      location,
      require_nonempty(app.add_option("--root", options.root,
                                      "What ${root} in a location or the catalogue means"))
          ->type_name("URL"),
      app.add_option("--proxy", options.proxy, "Proxy for downloads, address with port")
          ->type_name("ADDRESS"),
      app.add_flag("--update", options.update, "Fetch the catalogue before starting")
          ->needs(location),
      app.add_option("--timeout", options.timeout_s,
                     "Seconds after which a server that is silent is given up")
          ->check(CLI::Range(1U, max_timeout_s))
          ->type_name("SECONDS")
          ->capture_default_str(),
      app.add_flag("--trust-catalogue", options.trust_catalogue,
                   "Accept links in the cache and names in the catalogue that lead out of it")};
  if (cache == nullptr) return;
  for (CLI::Option* const option : others) option->needs(cache);
}

void add_database_options(CLI::App& app, database_options& options) {
  // Not an option group, which the parser takes an empty word for.
  app.option_defaults()->group(database_heading);
  CLI::Option* const file =
      require_nonempty(app.add_option("--database,-d", options.file,
                                      "Trace database of the modem's firmware (.json or .tar.gz)"))
          ->type_name("FILE");
  CLI::Option* const cache =
      require_nonempty(app.add_option("--cache", options.cache,
                                      "Directory of databases, searched for the UUID in the trace"))
          ->type_name("DIR");
  file->excludes(cache);
  add_catalogue_options(app, options, cache);
}

void add_plugin_option(CLI::App& app, std::string& plugin) {
  require_nonempty(
      app.add_option("--plugin", plugin,
                     "Plug-in to load (default: the one that belongs to this program)"))
      ->type_name("FILE");
}

void add_line_settings(CLI::App& app, line_options& options) {
  app.add_option("--baud-rate", options.baud_rate, "Bits per second")
      ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()))
      ->capture_default_str();
  app.add_option("--data-bits", options.data_bits, "Data bits of a byte")
      ->check(CLI::Range(5U, 8U))
      ->capture_default_str();
  app.add_option("--stop-bits", options.stop_bits, "Stop bits of a byte")
      ->check(CLI::IsMember({"1", "1.5", "2"}))
      ->type_name("")
      ->capture_default_str();
  app.add_option("--parity", options.parity, "Parity bit")
      ->check(CLI::IsMember({"none", "odd", "even"}))
      ->type_name("")
      ->capture_default_str();
  app.add_option("--flow-control", options.flow_control, "sw is XON/XOFF, hw is RTS/CTS")
      ->check(CLI::IsMember({"none", "sw", "hw"}))
      ->type_name("")
      ->capture_default_str();
}

void add_ending_options(CLI::App& app, std::string& summary, bool& fails_on_loss) {
  app.option_defaults()->group(programs_heading);
  require_nonempty(app.add_option("--summary", summary,
                                  "Append a JSON object about the run to this file, - for "
                                  "standard output"))
      ->type_name("FILE");
  app.add_flag("--fail-on-loss", fails_on_loss,
               "End with exit code 8 if traces, frames or packets were lost");
}

void add_run_options(CLI::App& app, run_options& options, const char* default_name,
                     const char* default_times) {
  add_database_options(app, options.database);
  app.option_defaults()->group(output_heading);
  require_nonempty(app.add_option("--output,-o", options.output.file,
                                  fmt::format("Capture file, - for standard output (default: {})",
                                              default_name)))
      ->type_name("FILE");
  app.add_flag("--overwrite", options.output.overwrite,
               "Replace an existing file that was not named, or a raw trace");
  app.add_flag_callback(
      "--no-sync", [&options] { options.output.is_synced = false; },
      "Give files their names before they are safe against a loss of power");
  app.add_option("--format,-f", options.output.format,
                 "What to write (default: as the file's name ends, otherwise pcapng)")
      ->check(CLI::IsMember({"pcapng", "jsonl"}));
  app.option_defaults()->group("Content");
  app.add_option_function<std::string>(
         "--metadata",
         [&options](const std::string& use) {
           options.output.metadata = use == "each"   ? metadata_use::each
                                     : use == "once" ? metadata_use::once
                                                     : metadata_use::none;
         },
         "JSON Lines: the metadata of each packet, once for each database, or none "
         "(default: each)")
      ->check(CLI::IsMember({"each", "once", "none"}))
      ->type_name("");
  add_selection_options(app, options.output);
  app.add_option_function<std::string>(
         "--time-base",
         [&options](const std::string& text) { options.times = time_base_named(text); },
         fmt::format("The capture's times: host is this machine's clock, modem the modem's, a time "
                     "such as 2024-05-01T12:00:00Z that of the first packet (default: {})",
                     default_times))
      ->check(check_time_base, "")
      ->type_name("host|modem|TIME");
  app.option_defaults()->group("Options");
  app.add_option("--chunk-size", options.chunk_size, "Bytes per read")
      ->check(CLI::Range(std::uint64_t{1}, max_chunk_size))
      ->capture_default_str();
  add_plugin_option(app, options.plugin);
  CLI::Option* const verbose =
      app.add_flag("--verbose,-v", options.verbose, "Show the plug-in's messages");
  app.add_flag("--quiet,-q", options.quiet, "Show notes and failures only")->excludes(verbose);
}

}  // namespace veltra::host
