// sync_policy.h - what a synchronisation of the cache fetches, and what it refuses.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "implementation/json_fwd.h"

namespace veltra {

enum class database_need {
  required,  // checked, and fetched unless it is intact; a failure ends the synchronisation
  wanted,    // fetched if there is no file; a failure is reported, and the work goes on
  none
};

// The defaults are what a host of the plug-in gets: every file is fetched as
// download_to_string() does, nothing is refused. All calls are on the thread of
// sync_database_cache(). An exception ends the synchronisation unless said otherwise.
class sync_policy {
 public:
  virtual ~sync_policy() = default;

  // Returns the catalogue at `address`. An exception is a location that failed: it is
  // reported, and the next one tried.
  virtual std::string fetch_catalogue(const std::string& address,
                                      const std::optional<std::string>& proxy) const;

  // Returns the database of a catalogue's version entry.
  virtual std::string fetch_database(const std::string& address,
                                     const std::optional<std::string>& proxy,
                                     const kovax::json& entry) const;

  // Called before the file of the cached catalogue is opened.
  virtual void check_catalogue_file(const std::filesystem::path& /*file*/) const {}

  // Called before anything in the cache is touched for an entry, with its device's "type".
  virtual void check_entry(const std::filesystem::path& /*cache_directory*/,
                           const std::string& /*type*/, const kovax::json& /*entry*/) const {}

  virtual database_need need_of(const kovax::json& /*entry*/) const {
    return database_need::required;
  }

  // True: the cached catalogue is used if no location has one.
  virtual bool accepts_cached_catalogue() const { return false; }
};

}  // namespace veltra
