// guarded_policy.h - what the program fetches into a cache, and what it refuses.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "host/database/database_options.h"
#include "plugin/database/limited_download.h"
#include "plugin/database/sync_policy.h"

namespace veltra::host {

inline constexpr std::size_t max_catalogue_size = std::size_t{16} << 20;
// As much as the plug-in reads of a compressed database.
inline constexpr std::size_t max_database_size = 1'000'000'000;

// Whether `name` is one file name below a directory, on every platform.
bool stays_in_directory(const std::string& name);

// Downloads with limits and keeps only what is a catalogue, or has the catalogue's digest.
// Refuses, with user_error (bad_input), names and links in the cache that lead out of it,
// and what is not a regular file, unless the options trust the catalogue.
class guarded_policy : public sync_policy {
 public:
  // The options must outlive this object. `uuid`: only the database that is called so is
  // required, and the others are fetched, when the options ask for an update, if they are
  // missing. `note` gets what a person should know, and `pause` replaces the wait between
  // two attempts.
  guarded_policy(const database_options& options, std::optional<std::string> uuid,
                 std::function<void(const std::string&)> note,
                 std::function<void(std::chrono::milliseconds)> pause = {});

  std::string fetch_catalogue(const std::string& address,
                              const std::optional<std::string>& proxy) const override;
  std::string fetch_database(const std::string& address, const std::optional<std::string>& proxy,
                             const kovax::json& entry) const override;
  void check_catalogue_file(const std::filesystem::path& file) const override;
  void check_entry(const std::filesystem::path& cache_directory, const std::string& type,
                   const kovax::json& entry) const override;
  database_need need_of(const kovax::json& entry) const override;
  bool accepts_cached_catalogue() const override { return true; }

 private:
  download_limits limits(std::size_t max_size) const;

  const database_options& options_;
  const std::optional<std::string> uuid_;
  const std::function<void(const std::string&)> note_;
  const std::function<void(std::chrono::milliseconds)> pause_;
};

// Fetches the catalogue at `location`, which may contain ${root} and an environment
// variable, and keeps nothing. Throws std::exception with the reason.
void require_catalogue(const database_options& options, const std::string& location);

}  // namespace veltra::host
