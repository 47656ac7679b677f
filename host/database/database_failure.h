// database_failure.h - why a database could not be had, and what to do.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/database/database_log.h"
#include "host/database/database_options.h"
#include "host/user_error.h"

namespace veltra::host {

// These turn a failure's text into a sentence with the next step, and keep that
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

// What to tell of a failure after which the work goes on; `log` has heard it last. A
// message that has nothing to do with databases stays as it is. Empty if there is
// nothing to tell: it was told before, or the failure that ends the work tells it.
std::string describe_passed_over(std::string_view message, const database_options& options,
                                 const database_log& log);

}  // namespace veltra::host
