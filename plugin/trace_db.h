// trace_db.h - from a trace database file to the records of the databases in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "plugin/database/host_log.h"
#include "plugin/trace_db_config.h"

namespace veltra {

// Trace ids are 32-bit values.
inline constexpr std::uint32_t max_trace_id_size = 4;

// Reads the whole file at `path`, .json or .gz, and processes every database in it
// (docs/database-format.md).
//
// Throws std::runtime_error: "veltra plugin cannot open trace file at " + path,
// "Database file extension needs to be .gz or .json", and what
// extract_database_texts() throws.
database_collection read_database_file(const std::filesystem::path& path, const host_log& log);

// Processes one database text: appends its record to `collection`, sets the collection's
// UUID, and logs "processed config json: " and the record's name. A text that fails adds
// nothing. The record keeps the text if it has trace definitions.
// Throws the JSON library's errors and std::runtime_error. A member that an
// array element must have and has not stops the process, as a contract.
void process_database_text(database_collection& collection, const host_log& log, std::string text);

}  // namespace veltra
