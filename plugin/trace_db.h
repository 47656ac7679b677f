// trace_db.h - from a trace database's JSON text to its record.
#pragma once

#include <string_view>

#include "plugin/database/host_log.h"
#include "plugin/database_collection.h"

namespace veltra {

// Processes one database text (docs/database-format.md): appends its record to
// `collection`, sets the collection's UUID, and logs "processed config json: "
// and the record's name. A text that fails adds nothing.
// Throws the JSON library's errors and std::runtime_error. A member that an
// array element must have and has not stops the process, as a contract.
void process_trace_db(database_collection& collection, const host_log& log, std::string_view text);

}  // namespace veltra
