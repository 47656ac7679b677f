#include "host/commands/shared_options.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace veltra::host {

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
  CLI::Option* const location = require_nonempty(app.add_option(
      "--location", options.locations,
      "Where the cache's catalogue config.json is; may be given again, the best first"));
  const std::vector<CLI::Option*> others = {
      location,
      require_nonempty(app.add_option("--root", options.root,
                                      "What ${root} in a location or the catalogue means")),
      app.add_option("--proxy", options.proxy, "Proxy for downloads, address with port"),
      app.add_flag("--update", options.update, "Fetch the catalogue before starting")
          ->needs(location),
      app.add_option("--timeout", options.timeout_s,
                     "Seconds after which a server that is silent is given up")
          ->check(CLI::Range(1U, max_timeout_s))
          ->capture_default_str(),
      app.add_flag("--trust-catalogue", options.trust_catalogue,
                   "Accept links in the cache and names in the catalogue that lead out of it")};
  if (cache == nullptr) return;
  for (CLI::Option* const option : others) option->needs(cache);
}

void add_database_options(CLI::App& app, database_options& options) {
  // Not an option group, which the parser takes an empty word for.
  constexpr const char* heading = "Trace database: a file, or the one the trace asks for";
  CLI::Option* const file =
      require_nonempty(app.add_option("--database,-d", options.file,
                                      "Trace database of the modem's firmware (.json or .tar.gz)"))
          ->group(heading);
  CLI::Option* const cache =
      require_nonempty(app.add_option("--cache", options.cache,
                                      "Directory of databases, searched for the UUID in the trace"))
          ->group(heading);
  file->excludes(cache);
  add_catalogue_options(app, options, cache);
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

}  // namespace veltra::host
