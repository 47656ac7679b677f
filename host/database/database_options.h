// database_options.h - the options that say which trace database decodes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "implementation/json.h"

namespace veltra::host {

// Which trace database decodes: one that is named, or one that is found in a
// cache by the UUID in the stream. Exactly one of the two is set.
struct database_options {
  std::string file;
  std::string cache;                   // directory of the cache
  std::vector<std::string> locations;  // of the catalogue, the best first
  std::string root;                    // replaces ${root} in locations
  std::optional<std::string> proxy;    // empty: none, whatever the environment says
  bool update = false;                 // fetch the catalogue
  std::uint32_t timeout_s = 30;        // of a server that is silent
  bool trust_catalogue = false;        // its names may lead out of the cache
};

// The cache's options as the plug-in's parameter "auto_detect_db_config".
kovax::json cache_parameters(const database_options& options);

// The `veltra db sync` command line that keeps this cache and fetches the catalogue
// again, ready to be pasted into a shell; "URL" replaces a location that is not known.
std::string sync_command_line(const database_options& options);

}  // namespace veltra::host
