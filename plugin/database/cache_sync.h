// cache_sync.h - keeping the cache of trace databases as its catalogue says.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "implementation/json_fwd.h"
#include "plugin/database/file_io.h"
#include "plugin/database/host_log.h"
#include "plugin/database/sync_policy.h"

namespace veltra {

// The steps of a synchronisation. Each is reported when it begins, except for
// catalogue_failed, which reports how the catalogue_requested before it ended.
// In parentheses: what comes with the step; nothing where nothing is named.
enum class sync_step {
  catalogue_requested,  // downloading the catalogue (its location, as the settings have it)
  catalogue_failed,     // that download failed (why: libcurl's text, which may be empty);
                        // the next location follows, if there is one
  catalogue_kept,       // no location has a catalogue; the cached one is used (sync_policy)
  catalogue_compared,   // reading the time of the cached catalogue: is it as new?
  catalogue_written,    // writing the downloaded catalogue into the cache
  database_checked,     // comparing a database's digest (its file: a path in UTF-8)
  database_requested,   // downloading the database checked last (its UUID)
  database_failed,      // that download failed and the database is not required (why)
};

// Receives the steps of one synchronisation in their order. A step that fails ends
// the synchronisation with an exception, except for a catalogue's download: no other
// step is reported then. Creating directories and reading the catalogue that is in the
// cache come between the steps.
class sync_listener {
 public:
  virtual ~sync_listener() = default;

  // Runs on the thread of sync_database_cache(), which waits for it. `detail` is valid
  // during the call. What it throws ends the synchronisation and passes through.
  virtual void on_step(sync_step step, const std::string& detail) = 0;
};

// Reports the steps to the host's log, one message a step: what failed as a recoverable
// failure, everything else as progress. The host's log
// must stay usable while this object is.
class sync_log : public sync_listener {
 public:
  explicit sync_log(const host_log& log) : log_(log) {}
  void on_step(sync_step step, const std::string& detail) override;

 private:
  host_log log_;
};

// Returns the text of a JSON string with its reference to the environment
// replaced. Throws if `value` is not a string or the variable is not set.
using text_expansion = std::function<std::string(const kovax::json& value)>;

// Brings the cache up to date with its catalogue and appends to `directories`
// the version directory of each of the catalogue's entries: an absolute path in
// UTF-8, in the catalogue's order, as often as it is listed.
//
// `config` is the object "auto_detect_db_config" of the init parameters:
//   "cache_directory"     where the cache is; expanded; created if it is missing
//   "update_cache"        true: fetch the catalogue, and keep it if it is newer
//   "trace_db_locations"  where to fetch the catalogue, the best place first; each expanded
//   "proxy_setting"       proxy for every download (download_to_string); expanded
//   "root"                replaces "${root}" in locations; expanded
//
// Every database that is listed is read and its digest compared; one that is
// missing or damaged is downloaded; downloads are stored unverified and checked by
// the next synchronisation. The first failure ends the work, with what is done so far
// left in the cache; only a catalogue that cannot be downloaded is reported to
// `listener`, and the next location tried. Files are replaced whole (write_file).
//
// Blocks for as long as the downloads take, on the caller's thread; several
// calls at a time must not run in one process (download_to_string).
//
// Throws
// - cache_settings_error for settings that are missing or do not go together, and for a
//   catalogue that no location has,
// - file_error for the catalogue or a database file that cannot be read or written,
// - std::filesystem::filesystem_error naming "exists" or "create_directories", with the
//   path of the cache or of a database's directory,
// - the JSON library's errors: type errors for a setting of another type; parse and type
//   errors for a catalogue, the cached or the downloaded one, that is not as it should be,
// - what `expand`, the download of a database (download_to_string) and `listener` throw.
//
// `policy` changes what is fetched and refused; see there.
void sync_database_cache(sync_listener& listener, const kovax::json& config,
                         std::vector<std::string>& directories, const text_expansion& expand,
                         file_operations& operations = system_file_operations(),
                         const sync_policy& policy = sync_policy());

}  // namespace veltra
