#include "host/database/database_failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

#include "implementation/json.h"
#include "platform/file.h"
#include "platform/shell.h"
#include "plugin/database/cache_settings_error.h"
#include "plugin/database/catalogue.h"
#include "plugin/database/file_io.h"

namespace veltra::host {

namespace {

// More directories than this are not listed.
constexpr std::size_t max_listed = 4;

// `text` as it can be shown: a trace may contain anything.
std::string printable_ascii(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

template <typename... Arguments>
user_error bad_input(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  return {exit_code::bad_input, fmt::format(format, std::forward<Arguments>(arguments)...)};
}

// "LOCATION (reason)". A reason that begins with the same address does not repeat it.
std::string failed_location(const std::string& location, std::string_view reason) {
  if (reason.starts_with(location + ": ")) reason.remove_prefix(location.size() + 2);
  return fmt::format("{} ({})", location, reason);
}

// "LOCATION (reason), LOCATION (reason)". A location that answered with nothing
// ends the list of those that were tried.
std::string tried_locations(const database_options& options, const database_events& events) {
  const std::vector<std::string>& reasons = events.failed_locations();
  std::vector<std::string> tried;
  const std::size_t count = std::min(options.locations.size(), reasons.size() + 1);
  for (std::size_t i = 0; i < count; ++i) {
    tried.push_back(failed_location(options.locations[i],
                                    i < reasons.size() ? reasons[i] : "it is empty there"));
  }
  return fmt::format("{}", fmt::join(tried, ", "));
}

// "a, b and 3 more", or "no directory".
std::string searched_directories(std::span<const std::string> directories) {
  if (directories.empty()) return "no directory";
  if (directories.size() <= max_listed) return fmt::format("{}", fmt::join(directories, ", "));
  return fmt::format("{} and {} more", fmt::join(directories.first(max_listed), ", "),
                     directories.size() - max_listed);
}

std::filesystem::path catalogue_of(const database_options& options) {
  return catalogue_path(platform::path_from_utf8(options.cache));
}

bool contains_json(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return kovax::json::accept(stream);
}

user_error explain_unreadable(const std::string& message, const database_options& options,
                              const database_events& events) {
  if (!events.file().empty()) {
    return bad_input("{}; it must be a file with read permission.", message);
  }
  std::error_code unreadable;
  if (std::filesystem::exists(catalogue_of(options), unreadable)) {
    return bad_input(
        "the catalogue of the cache {} cannot be read ({}); it must be a file with read "
        "permission.",
        options.cache, message);
  }
  const std::filesystem::path cache = platform::path_from_utf8(options.cache);
  std::error_code ignored;
  if (std::filesystem::exists(cache, ignored) && !std::filesystem::is_directory(cache, ignored)) {
    return bad_input("the cache {} is not a directory ({}); name the directory of the databases.",
                     options.cache, message);
  }
  if (unreadable) {
    return bad_input(
        "the cache {} cannot be read ({}); check its permissions, or name another directory.",
        options.cache, unreadable.default_error_condition().message());
  }
  return bad_input("the cache {} has no catalogue yet ({}); fetch it with: {}", options.cache,
                   message, sync_command_line(options));
}

user_error explain_unwritable(const std::string& message, const database_options& options,
                              const database_events& events) {
  const std::filesystem::path file = platform::path_from_utf8(events.file());
  std::error_code ignored;
  if (!file.empty() && !std::filesystem::is_directory(file.parent_path(), ignored)) {
    return bad_input(
        "{}: there is no such directory; a database's path in the catalogue must be ${{root}} with "
        "a file name right behind it, or an address.",
        message);
  }
  return {exit_code::output_failed,
          fmt::format("{}; the cache {} needs room and write permission.", message, options.cache)};
}

user_error explain_missing_root(const std::string& message, const database_events& events) {
  return {
      exit_code::usage,
      fmt::format("{} begins with ${{root}} and there is no root ({}); give one with --root.",
                  events.file().empty() ? "a location of the catalogue"
                                        : fmt::format("the catalogue's path of {}", events.file()),
                  message)};
}

user_error explain_unavailable_catalogue(const database_options& options,
                                         const database_events& events) {
  std::error_code ignored;
  const std::string without_update =
      std::filesystem::exists(catalogue_of(options), ignored)
          ? fmt::format(", or leave --update out to use the catalogue that the cache {} has",
                        options.cache)
          : "";
  return bad_input("no location gave a catalogue: {}; check the addresses and the network{}.",
                   tried_locations(options, events), without_update);
}

user_error explain_damaged_catalogue(const std::string& message, const database_options& options) {
  const std::string file = platform::path_to_utf8(catalogue_of(options));
  // The first catalogue of a cache is kept as it came.
  if (!contains_json(catalogue_of(options))) {
    return bad_input(
        "{} is not a catalogue ({}); it may be a server's error page. Remove it and fetch the "
        "catalogue from the right address with: {}",
        file, message, sync_command_line(options));
  }
  return bad_input(
      "a catalogue is not valid ({}); look at {}, remove it if it is damaged, and fetch it again "
      "with: {}",
      message, file, sync_command_line(options));
}

user_error explain_missing_uuid(const std::string& input, const database_events& events) {
  std::error_code ignored;
  if (std::filesystem::file_size(platform::path_from_utf8(input), ignored) == 0) {
    return {exit_code::nothing_decoded, fmt::format("{} is empty; record the trace again.", input)};
  }
  std::string rejected;
  if (events.rejected() == 1) {
    rejected = ", 1 text in its place is not one";
  } else if (events.rejected() > 1) {
    rejected = fmt::format(", {} texts in its place are not one", events.rejected());
  }
  return bad_input(
      "{} does not say which database it needs: no UUID in it up to its end{}; record the trace "
      "from the modem's start, or name the database with --database.",
      input, rejected);
}

failure_kind kind_of(const cache_settings_error& failure) {
  switch (failure.fault()) {
    case cache_settings_fault::locations_missing:
    case cache_settings_fault::locations_empty:
      return failure_kind::locations_missing;
    case cache_settings_fault::no_location_answered:
      return failure_kind::catalogue_unavailable;
    case cache_settings_fault::root_missing:
      return failure_kind::root_missing;
    case cache_settings_fault::cache_directory_missing:
      break;
  }
  return failure_kind::other;
}

failure_kind kind_of(const std::exception& failure) {
  if (const auto* settings = dynamic_cast<const cache_settings_error*>(&failure)) {
    return kind_of(*settings);
  }
  if (const auto* file = dynamic_cast<const file_error*>(&failure)) {
    return file->access() == file_access::read ? failure_kind::file_unreadable
                                               : failure_kind::file_unwritable;
  }
  if (dynamic_cast<const kovax::json::exception*>(&failure) != nullptr) {
    return failure_kind::json_error;
  }
  // All paths that these functions look for or create lie in the cache.
  if (dynamic_cast<const std::filesystem::filesystem_error*>(&failure) != nullptr) {
    return failure_kind::cache_unusable;
  }
  return failure_kind::other;
}

}  // namespace

std::optional<user_error> explain_sync_failure(const std::exception& failure,
                                               const database_options& options,
                                               const database_events& events) {
  return explain_sync_failure(kind_of(failure), failure.what(), options, events);
}

std::optional<user_error> explain_sync_failure(failure_kind kind, const std::string& message,
                                               const database_options& options,
                                               const database_events& events) {
  switch (kind) {
    case failure_kind::file_unreadable:
      return explain_unreadable(message, options, events);
    case failure_kind::file_unwritable:
      return explain_unwritable(message, options, events);
    case failure_kind::locations_missing:
      return user_error(exit_code::usage,
                        fmt::format("{}; say with --location where the catalogue is.", message));
    case failure_kind::root_missing:
      return explain_missing_root(message, events);
    case failure_kind::catalogue_unavailable:
      return explain_unavailable_catalogue(options, events);
    case failure_kind::json_type:
    case failure_kind::json_error:
      return explain_damaged_catalogue(message, options);
    case failure_kind::path_unreachable:
      if (!mentions_path(message, options.cache)) break;
      [[fallthrough]];
    case failure_kind::cache_unusable:
      return bad_input("the cache {} cannot be used ({}); name a directory that can be written to.",
                       options.cache, message);
    default:
      break;
  }
  if (events.downloading().empty()) return std::nullopt;
  return bad_input(
      "the database {} could not be downloaded ({}); check its path in {} and the network. What "
      "the cache has already decodes with --database FILE.",
      events.downloading(), message, platform::path_to_utf8(catalogue_of(options)));
}

user_error no_database(const database_options& options) {
  return bad_input("the catalogue of the cache {} lists no database; fetch one that does with: {}",
                   options.cache, sync_command_line(options));
}

std::optional<user_error> explain_empty_cache(const database_options& options,
                                              const database_events& events) {
  if (options.cache.empty() || !events.file().empty()) return std::nullopt;
  return no_database(options);
}

std::optional<user_error> explain_search_failure(failure_kind kind, const std::string& message,
                                                 const std::string& input,
                                                 const database_options& options,
                                                 const database_events& events) {
  switch (kind) {
    case failure_kind::uuid_missing:
      return explain_missing_uuid(input, events);
    case failure_kind::database_directory_missing:
      return bad_input(
          "{} needs the database {}, which is not in the cache {} (looked in {}); fetch it with: "
          "{}",
          input, events.uuid(), options.cache, searched_directories(events.directories()),
          sync_command_line(options));
    case failure_kind::database_file_missing:
      return bad_input(
          "{} needs the database {}, and {} contains no .json or .gz file; fetch it with: {}",
          input, events.uuid(), events.located(), sync_command_line(options));
    case failure_kind::file_system_error:
      if (events.uuid().empty() || !events.located().empty()) return std::nullopt;
      return bad_input(
          "{} needs the database {}, and the cache {} cannot be searched ({}); fill it again with: "
          "{}",
          input, events.uuid(), options.cache, message, sync_command_line(options));
    case failure_kind::database_unreadable:
    case failure_kind::database_invalid:
    case failure_kind::database_not_gzip:
    case failure_kind::decoder_config_missing:
    case failure_kind::decoder_config_refused:
      if (events.located().empty()) return std::nullopt;
      return bad_input(
          "the database {} in {} cannot be used ({}); check the cache with: veltra db verify "
          "--cache {}",
          events.uuid(), events.located(), message, platform::shell_word(options.cache));
    default:
      return std::nullopt;
  }
}

std::string describe_kept_catalogue(const database_options& options,
                                    const database_events& events) {
  return fmt::format(
      "no location gave a catalogue: {}; the one in the cache {} is used, which may be out of "
      "date.",
      tried_locations(options, events), options.cache);
}

std::string describe_nonfatal_failure(const source_event& event, const database_options& options,
                                      const database_events& events) {
  switch (event.kind) {
    case event_kind::catalogue_failed: {
      const std::size_t tried = events.failed_locations().size();
      if (tried >= options.locations.size()) return {};
      return fmt::format(
          "the catalogue could not be fetched from {}; trying the next location.",
          failed_location(options.locations[tried - 1], events.failed_locations().back()));
    }
    case event_kind::uuid_rejected:
      if (!events.rejected_is_new()) return {};
      return fmt::format(
          "\"{}\", where the trace names its database, is not a UUID; still searching.",
          printable_ascii(events.rejected_text()));
    case event_kind::decoding_stopped:
      return fmt::format("decoding stopped ({}); the raw trace is still recorded.", event.detail);
    default:
      return std::string(event.detail);
  }
}

}  // namespace veltra::host
