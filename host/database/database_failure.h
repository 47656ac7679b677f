// database_failure.h - why a database is not available, and what to do.
#pragma once

#include <exception>
#include <optional>
#include <string>

#include "host/database/database_events.h"
#include "host/database/database_options.h"
#include "host/source/source_events.h"
#include "host/user_error.h"

namespace veltra::host {

// These make a sentence with the next step of a failure and keep its `message` in it;
// `events` has taken what preceded it. Nothing for a failure that does not concern
// databases. Any thread; they may look into the file system.

// The synchronisation of the cache failed.
std::optional<user_error> explain_sync_failure(failure_kind kind, const std::string& message,
                                               const database_options& options,
                                               const database_events& events);

// The same for an exception of sync_database_cache() or list_cached_databases().
std::optional<user_error> explain_sync_failure(const std::exception& failure,
                                               const database_options& options,
                                               const database_events& events);

// The cache is in order but its catalogue lists no database, so that the plug-in could
// never decode. Ask after the synchronisation; nothing if no cache is named.
std::optional<user_error> explain_empty_cache(const database_options& options,
                                              const database_events& events);

// The same for a cache whose databases have been listed.
user_error no_database(const database_options& options);

// The search for the database that `input` names failed.
std::optional<user_error> explain_search_failure(failure_kind kind, const std::string& message,
                                                 const std::string& input,
                                                 const database_options& options,
                                                 const database_events& events);

// No location gave a catalogue, and the cached one is used.
std::string describe_kept_catalogue(const database_options& options, const database_events& events);

// Describes a non-fatal failure, the latest event that `events` has taken. One that
// does not concern databases keeps its own words. Empty if there is nothing to report:
// it was reported before, or the failure that ends the work reports it.
std::string describe_nonfatal_failure(const source_event& event, const database_options& options,
                                      const database_events& events);

}  // namespace veltra::host
