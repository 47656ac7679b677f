// run_options.h - the options that every command shares which runs the plug-in.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "implementation/json.h"

namespace CLI {
class App;
}

namespace veltra::host {

// Which trace database decodes: one that is named, or one that is found in a
// cache by the UUID in the stream. Exactly one of the two is set.
struct database_options {
  std::string file;
  std::string cache;                   // directory of the cache
  std::vector<std::string> locations;  // of the catalogue, the best first
  std::string root;                    // what ${root} in locations stands for
  std::string proxy;
  bool update = false;  // fetch the catalogue
};

struct output_options {
  std::string file;  // "-" is standard output; may be empty while it has a default
  std::string format = "pcapng";
  bool raw_packets = false;
};

struct run_options {
  database_options database;
  output_options output;
  std::uint64_t chunk_size = 0;  // bytes per read
  std::string plugin;            // empty: the one that belongs to this program
  bool verbose = false;          // show the plug-in's messages
};

// Adds the options to a subcommand; `options` must outlive the parsing, and holds
// the defaults.
void add_run_options(CLI::App& command, run_options& options);

// Puts "db_file_path" or "auto_detect_db_config", and "chunk_size", into the
// plug-in's init parameters.
void add_run_parameters(kovax::json& parameters, const run_options& options);

}  // namespace veltra::host
