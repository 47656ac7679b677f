// cache_settings_error.h - settings of a database cache that cannot be worked with.
#pragma once

#include <stdexcept>
#include <string>

namespace veltra {

enum class cache_settings_fault {
  cache_directory_missing,  // no "cache_directory"
  locations_missing,        // "update_cache" is true without "trace_db_locations"
  locations_empty,          // "trace_db_locations" lists nothing
  no_location_answered,     // each download of the catalogue failed, or one was empty
  root_missing,             // "${root}" is to be replaced, and there is no "root"
};

// what() is the text that a host gets; fault() says the same to a program.
class cache_settings_error : public std::runtime_error {
 public:
  cache_settings_error(cache_settings_fault fault, const std::string& message)
      : std::runtime_error(message), fault_(fault) {}

  cache_settings_fault fault() const noexcept { return fault_; }

 private:
  cache_settings_fault fault_;
};

}  // namespace veltra
