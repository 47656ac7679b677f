// database_failure.h - why a database could not be had, and what to do.
#pragma once

#include <optional>
#include <string>

#include "host/database/database_log.h"
#include "host/database/database_options.h"
#include "host/user_error.h"

namespace veltra::host {

// Both turn a failure's text into a sentence with the next step, and keep that
// text in it; `log` has heard what came before. None for a failure that has
// nothing to do with databases.

// The synchronisation of the cache failed.
std::optional<user_error> explain_sync_failure(const std::string& message,
                                               const database_options& options,
                                               const database_log& log);

// The search for the database that `input` asks for failed.
std::optional<user_error> explain_search_failure(const std::string& message,
                                                 const std::string& input,
                                                 const database_options& options,
                                                 const database_log& log);

}  // namespace veltra::host
