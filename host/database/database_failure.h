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

// The cache is in order and has nothing to decode with: the plug-in would read the
// input in vain. Asked for when the synchronisation is over; none unless it was for a
// cache.
std::optional<user_error> explain_empty_cache(const database_options& options,
                                              const database_log& log);

// The same in words, for a cache that was looked at.
user_error no_database(const database_options& options);

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
