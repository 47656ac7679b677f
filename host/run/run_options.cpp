#include "host/run/run_options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "host/source/literal_path.h"
#include "host/commands/name_option.h"
#include "host/output/same_file.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::uint64_t largest_chunk = std::uint64_t{1} << 30;

void add_database_options(CLI::App& command, database_options& options) {
  CLI::Option_group* group = command.add_option_group(
      "Trace database", "which database decodes: a file, or the one the trace asks for");
  CLI::Option* const file = names_something(group->add_option(
      "--database,-d", options.file, "Trace database of the modem's firmware (.json or .tar.gz)"));
  CLI::Option* const cache = names_something(group->add_option(
      "--cache", options.cache, "Directory of databases, searched for the UUID in the trace"));
  file->excludes(cache);
  add_catalogue_options(command, options, cache);
}

}  // namespace

void add_run_options(CLI::App& command, run_options& options) {
  add_database_options(command, options.database);
  names_something(command.add_option("--output,-o", options.output.file,
                                     "Capture file, - for standard output"));
  command.add_option("--format,-f", options.output.format, "What to write")
      ->check(CLI::IsMember({"pcapng", "jsonl"}))
      ->capture_default_str();
  command.add_flag("--raw-packets", options.output.raw_packets,
                   "Write the trace's own bytes, too, chunk by chunk");
  command.add_option("--chunk-size", options.chunk_size, "Bytes per read")
      ->check(CLI::Range(std::uint64_t{1}, largest_chunk))
      ->capture_default_str();
  names_something(
      command.add_option("--plugin", options.plugin,
                         "Plug-in to load (default: the one that belongs to this program)"));
  command.add_flag("--verbose,-v", options.verbose, "Show the plug-in's messages");
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

void add_run_parameters(kovax::json& parameters, const run_options& options) {
  parameters["chunk_size"] = options.chunk_size;
  const database_options& database = options.database;
  if (!database.file.empty()) {
    parameters["db_file_path"] = literal_path(platform::path_from_utf8(database.file));
  } else if (!database.cache.empty()) {
    parameters["auto_detect_db_config"] = cache_parameters(database);
  }
}

}  // namespace veltra::host
