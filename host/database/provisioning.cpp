#include "host/database/provisioning.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <set>
#include <system_error>

#include "host/console.h"
#include "host/database/database_events.h"
#include "host/database/database_failure.h"
#include "host/database/guarded_policy.h"
#include "host/database/sync_progress.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "plugin/database/database_locator.h"
#include "plugin/database/uid_search.h"
#include "plugin/path_parameter.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

void tell_note(const std::string& text) {
  print_message(fmt::format("veltra: note: {}\n", sanitize(text)));
}

// Passes the steps on and notes what failed and does not end the work.
class noting_listener : public sync_listener {
 public:
  noting_listener(const database_options& options, sync_listener* progress)
      : options_(options), progress_(progress) {}

  void on_step(sync_step step, const std::string& detail) override {
    take_step(events_, step, detail);
    if (progress_ != nullptr) progress_->on_step(step, detail);
    if (step == sync_step::catalogue_kept) {
      tell_note(describe_kept_catalogue(options_, events_));
    } else if (step == sync_step::database_failed) {
      tell_note(fmt::format("the database {} could not be downloaded ({}); it is not needed now.",
                            events_.downloading(), detail));
    } else if (step == sync_step::catalogue_failed && progress_ == nullptr) {
      const source_event event{.kind = event_kind::catalogue_failed, .detail = detail};
      const std::string text = describe_nonfatal_failure(event, options_, events_);
      if (!text.empty()) tell_note(text);
    }
  }

  const database_events& events() const { return events_; }

 private:
  const database_options& options_;
  sync_listener* const progress_;
  database_events events_;
};

// The directory and those above it that do not exist, the deepest first.
std::vector<fs::path> missing_directories(const fs::path& directory) {
  std::vector<fs::path> missing;
  std::error_code error;
  fs::path path = fs::absolute(directory, error);
  while (!error && !path.empty() && !fs::exists(path, error)) {
    missing.push_back(path);
    if (path == path.parent_path()) break;  // a drive that does not exist
    path = path.parent_path();
  }
  return missing;
}

platform::owned_file open_trace(const std::string& trace) {
  const fs::path path = platform::path_from_utf8(trace);
  std::error_code ignored;
  if (!fs::is_regular_file(path, ignored)) return nullptr;
  return platform::owned_file(platform::open_file(path, platform::open_mode::read));
}

// What the search reports, in the same types as the plug-in's own search.
struct search_events {
  static void take(kovax_source* /*source*/, void* user_data, std::int32_t level,
                   const char* message) {
    auto& self = *static_cast<search_events*>(user_data);
    const source_event event = parse_event(level, message);
    self.events.take(event);
    if (!event.is_failure) return;
    const std::string text = describe_nonfatal_failure(event, self.options, self.events);
    if (!text.empty() && self.notes.insert(text).second) tell_note(text);
  }

  host_log log() { return {take, this, nullptr}; }

  const database_options& options;
  database_events events = {};
  std::set<std::string> notes = {};
};

std::optional<std::string> find_uuid(std::FILE* trace, const host_log& log) {
  constexpr std::size_t chunk_size = std::size_t{1} << 20;
  uid_search search;
  std::string chunk(chunk_size, '\0');
  while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), trace)) {
    if (auto uuid = search.search(std::string_view(chunk).substr(0, count), log)) return uuid;
  }
  return std::nullopt;
}

database_options without_update(database_options options) {
  options.update = false;
  options.locations.clear();
  return options;
}

void remove_missing(std::vector<std::string>& directories) {
  const auto is_missing = [](const std::string& directory) {
    std::error_code ignored;
    return !fs::is_directory(platform::path_from_utf8(directory), ignored);
  };
  directories.erase(std::remove_if(directories.begin(), directories.end(), is_missing),
                    directories.end());
}

// The database of `uuid`, named as `file`; none: the trace names none.
database_options find_database(const database_options& options, const std::string& trace,
                               const std::optional<std::string>& uuid, search_events& search) {
  std::vector<std::string> directories = provision_cache(options, uuid.value_or(""));
  if (directories.empty()) throw no_database(options);
  database_options found = without_update(options);
  try {
    if (!uuid) throw std::runtime_error("End of file reached while searching for the database UID");
    for (const std::string& directory : directories) {
      search.events.take({.kind = event_kind::directory_tried, .detail = directory});
    }
    remove_missing(directories);
    const fs::path directory = locate_database_directory(directories, *uuid, {});
    const std::string located = platform::path_to_utf8(directory);
    search.events.take({.kind = event_kind::database_located, .detail = located});
    found.file = platform::path_to_utf8(find_database_file(directory));
    found.cache.clear();
    return found;
  } catch (const std::runtime_error& failure) {
    if (auto known = explain_search_failure(classify_failure(failure.what()), failure.what(), trace,
                                            options, search.events)) {
      throw *known;
    }
    throw;
  }
}

}  // namespace

std::vector<std::string> provision_cache(const database_options& options,
                                         const std::optional<std::string>& uuid,
                                         sync_listener* progress) {
  const std::vector<fs::path> missing =
      missing_directories(platform::path_from_utf8(options.cache));
  noting_listener listener(options, progress);
  const guarded_policy policy(options, uuid, tell_note);
  std::vector<std::string> directories;
  try {
    sync_database_cache(listener, cache_parameters(options), directories, expand_env_variables,
                        system_file_operations(), policy);
    return directories;
  } catch (const std::exception& failure) {
    std::error_code ignored;
    for (const fs::path& directory : missing) fs::remove(directory, ignored);
    if (dynamic_cast<const user_error*>(&failure) != nullptr) throw;
    if (auto known = explain_sync_failure(failure, options, listener.events())) throw *known;
    throw user_error(exit_code::bad_input,
                     fmt::format("the cache {} cannot be synchronised: {}; check the options.",
                                 options.cache, failure.what()));
  }
}

database_options find_database_of_trace(const database_options& options, const std::string& trace,
                                        const std::string& recorded_uuid) {
  return database_finder(options).find(trace, recorded_uuid);
}

database_options find_database_of_uuid(const database_options& options, const std::string& trace,
                                       const std::string& uuid) {
  if (options.cache.empty()) return options;
  if (uuid.empty()) return provision_for_search(options);
  search_events search{options};
  return find_database(options, trace, uuid, search);
}

database_options database_finder::find(const std::string& trace, const std::string& recorded_uuid) {
  database_options options = [this] {
    const std::lock_guard lock(mutex_);
    return options_;
  }();
  if (options.cache.empty()) return options;
  const platform::owned_file file = open_trace(trace);
  search_events search{options};
  std::optional<std::string> uuid;
  if (file) uuid = find_uuid(file.get(), search.log());
  if (file && !uuid && !recorded_uuid.empty()) uuid = recorded_uuid;

  const std::lock_guard lock(mutex_);
  options.update = options_.update;
  if (!file) {
    // The plug-in reports a missing trace before it looks at the cache.
    std::error_code ignored;
    const bool is_there = fs::exists(platform::path_from_utf8(trace), ignored);
    return is_there ? provision_for_search(options) : without_update(options);
  }
  const auto known = found_.find(uuid.value_or(""));
  if (uuid && known != found_.end()) return known->second;
  const database_options found = find_database(options, trace, uuid, search);
  options_.update = false;
  return found_.emplace(*uuid, found).first->second;
}

database_options provision_for_search(const database_options& options) {
  if (options.cache.empty()) return options;
  if (provision_cache(options, {}).empty()) throw no_database(options);
  return without_update(options);
}

}  // namespace veltra::host
