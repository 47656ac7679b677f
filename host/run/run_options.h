// run_options.h - the options that every command shares which runs the plug-in.
#pragma once

#include <cstdint>
#include <string>

#include "host/database/database_options.h"
#include "implementation/json.h"

namespace CLI {
class App;
}

namespace veltra::host {

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

// Throws user_error (usage) if `output` is a file of the cache.
void refuse_file_of_cache(const std::string& output, const database_options& database);

// Puts "db_file_path" or "auto_detect_db_config", if a database or a cache is named,
// and "chunk_size" into the plug-in's init parameters.
void add_run_parameters(kovax::json& parameters, const run_options& options);

}  // namespace veltra::host
