// provisioning.h - bringing a cache up to date, and finding a trace's database in it.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/database/database_options.h"
#include "plugin/database/cache_sync.h"

namespace veltra::host {

// Brings the cache up to date as guarded_policy says and returns its version directories
// (sync_database_cache). `uuid`: the database that is needed; none: all of them. Without a
// `progress` what failed is noted on stderr. A cache that did not exist leaves no empty
// directory behind if this fails. Throws user_error. One thread of the process at a time.
std::vector<std::string> provision_cache(const database_options& options,
                                         const std::optional<std::string>& uuid,
                                         sync_listener* progress = nullptr);

// For a run that reads the file `trace`: finds the UUID in it, or takes `recorded_uuid`, brings its
// database up to date and names it as `file`, so that nothing else of the cache is read. Options
// without a cache, and those of a trace that cannot be read, are returned without an update. Throws
// user_error.
database_options find_database_of_trace(const database_options& options, const std::string& trace,
                                        const std::string& recorded_uuid = {});

// The same for a trace that was searched elsewhere. Without a UUID the plug-in searches, see
// provision_for_search().
database_options find_database_of_uuid(const database_options& options, const std::string& trace,
                                       const std::string& uuid);

// The same for many traces: each database is looked for and checked once, and the catalogue
// fetched once. Any thread.
class database_finder {
 public:
  explicit database_finder(database_options options) : options_(std::move(options)) {}

  database_options find(const std::string& trace, const std::string& recorded_uuid);

 private:
  std::mutex mutex_;  // guards what follows
  database_options options_;
  std::map<std::string, database_options> found_;  // by UUID
};

// For a live run, whose plug-in searches the stream: makes sure that it has nothing to
// fetch. Throws user_error.
database_options provision_for_search(const database_options& options);

}  // namespace veltra::host
