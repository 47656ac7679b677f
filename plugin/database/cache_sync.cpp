#include "plugin/database/cache_sync.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "implementation/json_document.h"
#include "implementation/json_values.h"
#include "platform/file.h"
#include "plugin/database/cache_settings_error.h"
#include "plugin/database/cached_database.h"
#include "plugin/database/catalogue.h"
#include "plugin/database/digests_ahead.h"
#include "plugin/database/location.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;
using kovax::as_array;
using kovax::json;
using kovax::member;
using kovax::text_member;

struct catalogue_location {
  std::string as_written;
  std::string expanded;
};

struct cache_settings {
  fs::path cache_directory;
  std::optional<bool> update_cache;
  std::optional<std::vector<catalogue_location>> locations;
  std::optional<std::string> proxy;
  std::string root;
};

std::vector<catalogue_location> read_locations(const json& list, const text_expansion& expand) {
  std::vector<catalogue_location> locations;
  for (const json& written : as_array(list)) {
    locations.push_back({written.get<std::string>(), expand(written)});
  }
  return locations;
}

cache_settings read_settings(const json& config, const text_expansion& expand) {
  if (!config.contains("cache_directory")) {
    throw cache_settings_error(cache_settings_fault::cache_directory_missing,
                               "cache_directory missing");
  }
  cache_settings settings;
  settings.cache_directory = platform::path_from_utf8(expand(config["cache_directory"]));
  if (config.contains("update_cache")) settings.update_cache = config["update_cache"].get<bool>();
  if (config.contains("trace_db_locations")) {
    settings.locations = read_locations(config["trace_db_locations"], expand);
  }
  if (config.contains("proxy_setting")) settings.proxy = expand(config["proxy_setting"]);
  if (config.contains("root")) settings.root = expand(config["root"]);
  return settings;
}

void make_directories(const fs::path& path) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) throw fs::filesystem_error("create_directories", path, error);
}

// One run over one cache.
class synchronisation {
 public:
  synchronisation(sync_listener& listener, cache_settings settings, file_operations& operations,
                  const sync_policy& policy)
      : listener_(listener),
        settings_(std::move(settings)),
        catalogue_path_(catalogue_path(settings_.cache_directory)),
        operations_(operations),
        policy_(policy) {}

  void run(std::vector<std::string>& directories) {
    if (!path_exists(settings_.cache_directory)) make_directories(settings_.cache_directory);
    policy_.check_catalogue_file(catalogue_path_);
    if (settings_.update_cache.value_or(false)) refresh_catalogue();
    const kovax::json_document catalogue(read_file(catalogue_path_));
    digests_ahead digests(files_to_check(catalogue.root()));
    for_each_version(catalogue.root(), [&](const std::string& type, const json& entry) {
      policy_.check_entry(settings_.cache_directory, type, entry);
      const fs::path directory = version_directory(settings_.cache_directory, type, entry);
      directories.push_back(platform::path_to_utf8(fs::absolute(directory)));
      provide_database(database_directory(directory, entry), entry, policy_.need_of(entry),
                       digests);
    });
  }

 private:
  // Up to the first entry that cannot be used, at which the work will end.
  std::vector<fs::path> files_to_check(const json& catalogue) const {
    std::vector<fs::path> files;
    try {
      for_each_version(catalogue, [&](const std::string& type, const json& entry) {
        policy_.check_entry(settings_.cache_directory, type, entry);
        const fs::path directory = version_directory(settings_.cache_directory, type, entry);
        if (policy_.need_of(entry) != database_need::required) return;
        files.push_back(database_file(database_directory(directory, entry), entry));
      });
    } catch (const std::exception&) {
      // Reported when it is this entry's turn.
    }
    return files;
  }

  void refresh_catalogue() const {
    if (!settings_.locations) {
      throw cache_settings_error(cache_settings_fault::locations_missing,
                                 "trace_db_locations when update_cache is true");
    }
    if (settings_.locations->empty()) {
      throw cache_settings_error(cache_settings_fault::locations_empty,
                                 "trace_db_locations is empty");
    }
    const std::string content = download_catalogue();
    if (content.empty() && policy_.accepts_cached_catalogue() && path_exists(catalogue_path_)) {
      listener_.on_step(sync_step::catalogue_kept, {});
      return;
    }
    if (content.empty()) {
      throw cache_settings_error(
          cache_settings_fault::no_location_answered,
          "Unable to download configuration content from any of the following locations:" +
              listed_locations());
    }
    if (path_exists(catalogue_path_)) {
      listener_.on_step(sync_step::catalogue_compared, {});
      if (cached_catalogue_is_as_new_as(content)) return;
    }
    listener_.on_step(sync_step::catalogue_written, {});
    write_file(catalogue_path_, content, operations_);
  }

  std::string listed_locations() const {
    std::string lines;
    for (const catalogue_location& location : *settings_.locations) {
      lines += "\n\t" + location.as_written;
    }
    return lines;
  }

  // The first body that a location answers with, whatever it holds; empty if
  // none answers.
  std::string download_catalogue() const {
    for (const catalogue_location& location : *settings_.locations) {
      const std::string address = resolve_location(settings_.root, location.expanded);
      listener_.on_step(sync_step::catalogue_requested, location.as_written);
      try {
        return policy_.fetch_catalogue(address, settings_.proxy);
      } catch (const std::exception& failure) {
        listener_.on_step(sync_step::catalogue_failed, failure.what());
      }
    }
    return {};
  }

  bool cached_catalogue_is_as_new_as(const std::string& content) const {
    const kovax::json_document cached(read_file(catalogue_path_));
    const kovax::json_document downloaded(content);
    const catalogue_time cached_time = updated_time(cached.root());
    return cached_time >= updated_time(downloaded.root());
  }

  void provide_database(const fs::path& directory, const json& entry, database_need need,
                        digests_ahead& digests) const {
    if (need == database_need::none) return;
    if (need == database_need::wanted && path_exists(database_file(directory, entry))) return;
    make_directories(directory);
    const fs::path path = database_file(directory, entry);
    listener_.on_step(sync_step::database_checked, platform::path_to_utf8(path));
    if (check_database(path, entry, &digests) == database_state::intact) return;
    digests.forget(path);
    if (need == database_need::required) {
      fetch_database(path, entry);
      return;
    }
    try {
      fetch_database(path, entry);
    } catch (const std::runtime_error& failure) {
      listener_.on_step(sync_step::database_failed, failure.what());
    }
  }

  void fetch_database(const fs::path& path, const json& entry) const {
    const std::string address =
        resolve_location(settings_.root, text_member(member(entry, "database"), "path"));
    listener_.on_step(sync_step::database_requested, text_member(entry, "uuid"));
    write_file(path, policy_.fetch_database(address, settings_.proxy, entry), operations_);
  }

  sync_listener& listener_;
  const cache_settings settings_;
  const fs::path catalogue_path_;
  file_operations& operations_;
  const sync_policy& policy_;
};

}  // namespace

std::string sync_policy::fetch_catalogue(const std::string& address,
                                         const std::optional<std::string>& proxy) const {
  return download_to_string(address, proxy);
}

std::string sync_policy::fetch_database(const std::string& address,
                                        const std::optional<std::string>& proxy,
                                        const json& /*entry*/) const {
  return download_to_string(address, proxy);
}

void sync_log::on_step(sync_step step, const std::string& detail) {
  switch (step) {
    case sync_step::catalogue_requested:
      return log_.progress("Trying to download database config.json");
    case sync_step::catalogue_failed:
      return log_.recoverable_failure("Failed to download config.json. Reason: " + detail);
    case sync_step::catalogue_kept:
      return log_.progress("keep cached config.json");
    case sync_step::database_failed:
      return log_.recoverable_failure("Failed to download database. Reason: " + detail);
    case sync_step::catalogue_compared:
      return log_.progress("check if config.json is up-to-date");
    case sync_step::catalogue_written:
      return log_.progress("write new config.json");
    case sync_step::database_checked:
      return log_.progress("check database at path: " + detail);
    case sync_step::database_requested:
      return log_.progress("try download database: " + detail);
  }
}

void sync_database_cache(sync_listener& listener, const json& config,
                         std::vector<std::string>& directories, const text_expansion& expand,
                         file_operations& operations, const sync_policy& policy) {
  synchronisation(listener, read_settings(config, expand), operations, policy).run(directories);
}

}  // namespace veltra
