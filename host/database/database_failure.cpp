#include "host/database/database_failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

#include "implementation/json.h"
#include "platform/file.h"
#include "platform/shell.h"

namespace veltra::host {

namespace {

// More directories than this are not listed.
constexpr std::size_t most_listed = 4;

// What a database that was found may be refused with; they begin like this.
constexpr std::string_view unusable_database_messages[] = {
    "veltra plugin cannot open trace file", "Invalid gzip data",
    "Trace database has missing fields",    "dekodrix config not found",
    "dekodrix config failed to set",
};

// `text` as it can be shown: what stands in a trace may be anything.
std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

user_error bad_input(const std::string& text) {
  return {exit_code::bad_input, text};
}

// "LOCATION (reason), LOCATION (reason)". A location that answered with nothing
// ends the list of those that were tried.
std::string tried_locations(const database_options& options, const database_log& log) {
  std::string text;
  const std::size_t count = std::min(options.locations.size(), log.failed_locations().size() + 1);
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) text += ", ";
    const bool failed = i < log.failed_locations().size();
    text += fmt::format("{} ({})", options.locations[i],
                        failed ? log.failed_locations()[i] : "it is empty there");
  }
  return text;
}

// "a, b and 3 more", or "no directory".
std::string searched_directories(const std::vector<std::string>& directories) {
  if (directories.empty()) return "no directory";
  const std::size_t count = std::min(directories.size(), most_listed);
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) text += ", ";
    text += directories[i];
  }
  if (count < directories.size()) {
    text += fmt::format(" and {} more", directories.size() - count);
  }
  return text;
}

std::filesystem::path catalogue_path(const database_options& options) {
  return platform::path_from_utf8(options.cache) / "config.json";
}

std::string catalogue_file(const database_options& options) {
  return platform::path_to_utf8(catalogue_path(options));
}

bool has_catalogue(const database_options& options) {
  std::error_code ignored;
  return std::filesystem::exists(catalogue_path(options), ignored);
}

bool holds_json(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return kovax::json::accept(stream);
}

user_error explain_unreadable(const std::string& message, const database_options& options,
                              const database_log& log) {
  if (!log.file().empty()) {
    return bad_input(fmt::format("{}; it must be a file with read permission.", message));
  }
  std::error_code unreadable;
  if (std::filesystem::exists(catalogue_path(options), unreadable)) {
    return bad_input(
        fmt::format("the catalogue of the cache {} cannot be read ({}); it must be a "
                    "file with read permission.",
                    options.cache, message));
  }
  const std::filesystem::path cache = platform::path_from_utf8(options.cache);
  std::error_code ignored;
  if (std::filesystem::exists(cache, ignored) && !std::filesystem::is_directory(cache, ignored)) {
    return bad_input(
        fmt::format("the cache {} is no directory ({}); name the directory of the "
                    "databases.",
                    options.cache, message));
  }
  if (unreadable) {
    return bad_input(
        fmt::format("the cache {} cannot be read ({}); check its permissions, or name "
                    "another directory.",
                    options.cache, unreadable.default_error_condition().message()));
  }
  return bad_input(fmt::format("the cache {} has no catalogue yet ({}); fetch it with: {}",
                               options.cache, message, sync_command_line(options)));
}

user_error explain_unwritable(const std::string& message, const database_options& options,
                              const database_log& log) {
  const std::filesystem::path file = platform::path_from_utf8(log.file());
  std::error_code ignored;
  if (!file.empty() && !std::filesystem::is_directory(file.parent_path(), ignored)) {
    return bad_input(
        fmt::format("{}: there is no such directory; a database's path in the catalogue must be "
                    "${{root}} with a file name right behind it, or an address.",
                    message));
  }
  return {exit_code::output_failed,
          fmt::format("{}; the cache {} needs room and write permission.", message, options.cache)};
}

}  // namespace

std::optional<user_error> explain_sync_failure(const std::string& message,
                                               const database_options& options,
                                               const database_log& log) {
  const std::string_view text = message;
  if (text.starts_with("cannot open file: ")) return explain_unreadable(message, options, log);
  if (text.starts_with("unable to open file to write: ")) {
    return explain_unwritable(message, options, log);
  }
  if (text.starts_with("trace_db_locations")) {
    return user_error(exit_code::usage,
                      fmt::format("{}; say with --location where the catalogue is.", message));
  }
  if (text.starts_with("root missing from auto_detect_db_config")) {
    return user_error(
        exit_code::usage,
        fmt::format("{} begins with ${{root}} and there is no root ({}); give one "
                    "with --root.",
                    log.file().empty() ? std::string("a location of the catalogue")
                                       : fmt::format("the catalogue's path of {}", log.file()),
                    message));
  }
  if (text.starts_with("Unable to download configuration content")) {
    const std::string without_update =
        has_catalogue(options)
            ? fmt::format(", or leave --update out to use the catalogue that the cache {} has",
                          options.cache)
            : std::string();
    return bad_input(
        fmt::format("no location gave a catalogue: {}; check the addresses and the network{}.",
                    tried_locations(options, log), without_update));
  }
  const bool about_cache = text.find(options.cache) != std::string_view::npos;
  if ((text.starts_with("filesystem error: exists") && about_cache) ||
      text.starts_with("filesystem error: create_directories")) {
    return bad_input(
        fmt::format("the cache {} cannot be used ({}); name a directory that can be written to.",
                    options.cache, message));
  }
  if (text.starts_with("[json.exception")) {
    // The first catalogue of a cache is kept as it came.
    if (!holds_json(catalogue_path(options))) {
      return bad_input(
          fmt::format("{} holds no catalogue ({}); it may be a server's error page. Remove it and "
                      "fetch the catalogue from the right address with: {}",
                      catalogue_file(options), message, sync_command_line(options)));
    }
    return bad_input(fmt::format(
        "a catalogue is not what it should be ({}); look at {}, remove it if it is damaged, and "
        "fetch it again with: {}",
        message, catalogue_file(options), sync_command_line(options)));
  }
  if (!log.downloading().empty()) {
    return bad_input(fmt::format(
        "the database {} could not be downloaded ({}); check its path in {} and the network. "
        "What the cache has already decodes with --database FILE.",
        log.downloading(), message, catalogue_file(options)));
  }
  return std::nullopt;
}

user_error no_database(const database_options& options) {
  return bad_input(
      fmt::format("the catalogue of the cache {} lists no database; fetch one that does with: {}",
                  options.cache, sync_command_line(options)));
}

std::optional<user_error> explain_empty_cache(const database_options& options,
                                              const database_log& log) {
  if (options.cache.empty() || !log.file().empty()) return std::nullopt;
  return no_database(options);
}

std::optional<user_error> explain_search_failure(const std::string& message,
                                                 const std::string& input,
                                                 const database_options& options,
                                                 const database_log& log) {
  const std::string_view text = message;
  if (text.starts_with("End of file reached while searching for the database UID")) {
    std::error_code ignored;
    if (std::filesystem::file_size(platform::path_from_utf8(input), ignored) == 0) {
      return user_error(exit_code::nothing_decoded,
                        fmt::format("{} is empty; record the trace again.", input));
    }
    const std::string rejected =
        log.rejected() == 0
            ? std::string()
            : fmt::format(", {} text{} in its place {} none", log.rejected(),
                          log.rejected() == 1 ? "" : "s", log.rejected() == 1 ? "is" : "are");
    return bad_input(fmt::format(
        "{} does not say which database it needs: no UUID in it up to its end{}; "
        "record the trace from the modem's start, or name the database with --database.",
        input, rejected));
  }
  if (text.starts_with("unable to locate db directory")) {
    return bad_input(fmt::format(
        "{} needs the database {}, which is not in the cache {} (looked in {}); fetch it with: {}",
        input, log.uuid(), options.cache, searched_directories(log.directories()),
        sync_command_line(options)));
  }
  if (text.starts_with("unable to locate db file")) {
    return bad_input(fmt::format(
        "{} needs the database {}, and {} holds no .json or .gz file; fetch it with: {}", input,
        log.uuid(), log.located(), sync_command_line(options)));
  }
  if (text.starts_with("filesystem error: ") && !log.uuid().empty() && log.located().empty()) {
    return bad_input(
        fmt::format("{} needs the database {}, and the cache {} cannot be searched "
                    "({}); fill it again with: {}",
                    input, log.uuid(), options.cache, message, sync_command_line(options)));
  }
  const bool unusable =
      std::any_of(std::begin(unusable_database_messages), std::end(unusable_database_messages),
                  [text](std::string_view start) { return text.starts_with(start); });
  if (unusable && !log.located().empty()) {
    return bad_input(
        fmt::format("the database {} in {} cannot be used ({}); check the cache with: veltra db "
                    "verify --cache {}",
                    log.uuid(), log.located(), message, platform::shell_word(options.cache)));
  }
  return std::nullopt;
}

std::string describe_passed_over(std::string_view message, const database_options& options,
                                 const database_log& log) {
  std::string_view reason;
  if (split_message(message, catalogue_not_fetched, reason)) {
    const std::size_t tried = log.failed_locations().size();
    if (tried >= options.locations.size()) return {};
    return fmt::format("the catalogue could not be fetched from {} ({}); trying the next location.",
                       options.locations[tried - 1], reason_of(reason));
  }
  if (message == uuid_rejected) {
    if (!log.rejected_is_new()) return {};
    return fmt::format(
        "\"{}\" stands where the trace names its database and is no UUID; searching on.",
        printable(log.rejected_text()));
  }
  return std::string(message);
}

}  // namespace veltra::host
