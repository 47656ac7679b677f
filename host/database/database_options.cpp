#include "host/database/database_options.h"

#include <CLI/CLI.hpp>
#include <string_view>

#include "host/commands/name_option.h"
#include "host/source/literal_path.h"
#include "platform/file.h"
#include "platform/shell.h"

namespace veltra::host {

void add_catalogue_options(CLI::App& command, database_options& options, CLI::Option* cache) {
  CLI::Option* const location = names_something(command.add_option(
      "--location", options.locations,
      "Where the cache's catalogue config.json is; may be given again, the best first"));
  const std::vector<CLI::Option*> others = {
      location,
      names_something(command.add_option("--root", options.root,
                                         "What ${root} in a location or the catalogue means")),
      command.add_option("--proxy", options.proxy, "Proxy for downloads, address with port"),
      command.add_flag("--update", options.update, "Fetch the catalogue before starting")
          ->needs(location)};
  if (cache == nullptr) return;
  for (CLI::Option* const option : others) option->needs(cache);
}

kovax::json cache_parameters(const database_options& options) {
  kovax::json parameters = {
      {"cache_directory", literal_path(platform::path_from_utf8(options.cache))},
      {"update_cache", options.update}};
  if (!options.locations.empty()) parameters["trace_db_locations"] = options.locations;
  if (!options.root.empty()) parameters["root"] = options.root;
  if (options.proxy) parameters["proxy_setting"] = *options.proxy;
  return parameters;
}

std::string sync_command_line(const database_options& options) {
  std::string line = "veltra db sync --cache " + platform::shell_word(options.cache) + " --update";
  if (options.locations.empty()) line += " --location URL";
  for (const std::string& location : options.locations) {
    line += " --location " + platform::shell_word(location);
  }
  if (!options.root.empty()) line += " --root " + platform::shell_word(options.root);
  if (options.proxy) line += " --proxy " + platform::shell_word(*options.proxy);
  return line;
}

}  // namespace veltra::host
