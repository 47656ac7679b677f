#include "host/database/database_options.h"

#include "host/source/literal_path.h"
#include "platform/file.h"
#include "platform/shell.h"

namespace veltra::host {

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
  if (options.trust_catalogue) line += " --trust-catalogue";
  return line;
}

}  // namespace veltra::host
