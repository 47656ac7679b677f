// trace_db_file.h - from a trace database file to the databases in it.
#pragma once

#include <filesystem>

#include "plugin/database/host_log.h"
#include "plugin/database_collection.h"

namespace veltra {

// Reads the whole file at `path`, .json or .gz, and processes every database in
// it (docs/database-format.md), telling `log` each one's name.
//
// Throws std::runtime_error: "veltra plugin cannot open trace file at " + path,
// "Database file extension needs to be .gz or .json", and what
// read_trace_database() throws.
database_collection read_trace_db_file(const std::filesystem::path& path, const host_log& log);

}  // namespace veltra
