// shared_options.h - options that more than one command line has.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "host/database/database_options.h"
#include "host/run/run_options.h"

namespace veltra::host {

// Headings of --help that several commands have.
inline constexpr const char* database_heading =
    "Trace database: a file, or the one the trace asks for";
inline constexpr const char* output_heading = "Output";
inline constexpr const char* programs_heading = "For programs";

// Each adds options to `app` that write to their target when the command line is parsed;
// the target must outlive `app`.

// Refuses an empty value: it is what a shell makes of a variable that is not set, and
// would pass for an option that was not given.
CLI::Option* require_nonempty(CLI::Option* option);

// The catalogue of a cache; these options need the option `cache`, if there is one.
void add_catalogue_options(CLI::App& app, database_options& options, CLI::Option* cache);

// Which database decodes.
void add_database_options(CLI::App& app, database_options& options);

// Which plug-in runs; empty: the one that belongs to this program.
void add_plugin_option(CLI::App& app, std::string& plugin);

// How the port is set up.
void add_line_settings(CLI::App& app, line_options& options);

// What programs are given of a run's end: a line in `summary`, and the exit code.
void add_ending_options(CLI::App& app, std::string& summary, bool& fails_on_loss);

// What a run writes, and how it reads. `default_name` and `default_times` are what --help says
// about the capture's name and times.
void add_run_options(CLI::App& app, run_options& options, const char* default_name,
                     const char* default_times);

}  // namespace veltra::host
