#include "host/database/publishing.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <map>
#include <system_error>
#include <utility>

#include "base/uuid.h"
#include "host/console.h"
#include "host/database/database_file.h"
#include "host/database/database_lint.h"
#include "host/database/guarded_policy.h"
#include "host/user_error.h"
#include "implementation/json_values.h"
#include "platform/file.h"
#include "platform/shell.h"
#include "plugin/database/cached_database.h"
#include "plugin/database/catalogue.h"
#include "plugin/database/file_io.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;
using kovax::json;
using kovax::member;
using kovax::text_member;

// Any catalogue that is published later replaces that of databases added by hand.
constexpr const char* earliest_time = "1971-01-01 00:00:00";

struct database_to_list {
  std::string name;
  std::string uuid;
  std::string digest;
};

template <typename... Arguments>
user_error refusal(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  return {exit_code::bad_input, fmt::format(format, std::forward<Arguments>(arguments)...)};
}

// A file without a fault that a stream can name.
database_to_list checked(const fs::path& file) {
  const std::string shown = platform::path_to_utf8(file);
  const lint_result lint = lint_database_file(file);
  if (count_faults(lint.findings) != 0) {
    throw refusal("{} has {}; see them with: veltra db lint {}", shown,
                  count_findings(lint.findings), platform::shell_word(shown));
  }
  if (!is_uuid(lint.uuid)) {
    throw refusal("{} has no UUID, by which it is found; give it the firmware's.", shown);
  }
  const std::string name = platform::path_to_utf8(file.filename());
  if (!stays_in_directory(name)) {
    throw refusal("{} has characters in its name that not every system takes; rename it.", shown);
  }
  return {name, lint.uuid, sha256_hex(read_database_bytes(file))};
}

std::string version_of(std::string name) {
  for (const char* ending : {".gz", ".tar", ".json"}) {
    if (name.ends_with(ending)) name.erase(name.size() - std::string_view(ending).size());
  }
  return name.empty() ? "1" : name;
}

// Seconds since the epoch as the catalogue's time: local time without daylight saving.
std::string catalogue_text(std::time_t seconds) {
  std::tm calendar = fmt::localtime(seconds);
  if (calendar.tm_isdst > 0) calendar = fmt::localtime(seconds - 3600);
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", calendar);
}

// Now, or later than `earlier`: only a later time replaces a cached catalogue.
std::string next_time(const json& earlier) {
  std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  if (!earlier.is_null()) {
    const auto before =
        std::chrono::duration_cast<std::chrono::seconds>(updated_time(earlier).time_since_epoch());
    seconds = std::max<std::time_t>(seconds, before.count() + 1);
  }
  return catalogue_text(seconds);
}

// The catalogue in `directory`; null if there is none.
json read_catalogue(const fs::path& directory) {
  const fs::path file = catalogue_path(directory);
  std::error_code ignored;
  if (!fs::exists(file, ignored)) return nullptr;
  json catalogue = json::parse(read_database_bytes(file), nullptr, false);
  try {
    updated_time(catalogue);
    for_each_version(catalogue, [](const std::string&, const json& entry) {
      text_member(entry, "version");
      text_member(entry, "uuid");
      text_member(member(entry, "database"), "path");
    });
  } catch (const json::exception&) {
    throw refusal("{} is not a catalogue; remove it first.", platform::path_to_utf8(file));
  }
  return catalogue;
}

json entry_of(const database_to_list& database, const std::string& version,
              const std::string& path) {
  return {{"version", version},
          {"uuid", database.uuid},
          {"database", {{"path", path}, {"sha256", database.digest}}}};
}

void append_entry(json& catalogue, const std::string& device, json entry) {
  json& devices = catalogue["firmwares"]["devices"];
  for (json& each : devices) {
    if (each.at("type") != device) continue;
    each["versions"].push_back(std::move(entry));
    return;
  }
  devices.push_back({{"type", device}, {"versions", json::array({std::move(entry)})}});
}

json empty_catalogue(const std::string& time) {
  return {{"firmwares", {{"updated_timestamp", time}, {"devices", json::array()}}}};
}

void write_output(const fs::path& file, const std::string& bytes) {
  try {
    write_file(file, bytes);
  } catch (const file_error& failure) {
    throw user_error(exit_code::output_failed,
                     fmt::format("cannot write {}: {}.", platform::path_to_utf8(file),
                                 failure.reason().message()));
  }
}

std::vector<fs::path> database_files(const fs::path& directory) {
  std::error_code error;
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(directory, error)) {
    const fs::path extension = entry.path().extension();
    const bool has_ending = extension == ".json" || extension == ".gz";
    if (has_ending && entry.path() != catalogue_path(directory)) files.push_back(entry.path());
  }
  if (error) {
    throw refusal("{} cannot be listed: {}; name the directory of the databases.",
                  platform::path_to_utf8(directory), error.default_error_condition().message());
  }
  if (files.empty()) {
    throw refusal("there is no .json or .gz file in {}.", platform::path_to_utf8(directory));
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Device and version of the files that a catalogue lists, by path.
std::map<std::string, listing_names> names_by_path(const json& catalogue) {
  std::map<std::string, listing_names> names;
  if (catalogue.is_null()) return names;
  for_each_version(catalogue, [&](const std::string& type, const json& entry) {
    names[text_member(member(entry, "database"), "path")] = {type, text_member(entry, "version")};
  });
  return names;
}

void require_name(const std::string& name) {
  if (!stays_in_directory(name)) {
    throw user_error(
        exit_code::usage,
        fmt::format("\"{}\" names a directory of caches and must be one name.", sanitize(name)));
  }
}

}  // namespace

std::string publish_databases(const fs::path& directory, const std::string& device) {
  const std::string default_device = device.empty() ? "modem" : device;
  require_name(default_device);
  const std::vector<fs::path> files = database_files(directory);
  const json earlier = read_catalogue(directory);
  const std::map<std::string, listing_names> names = names_by_path(earlier);
  std::map<std::string, std::string> files_by_uuid;
  json catalogue = empty_catalogue(next_time(earlier));
  std::string lines;
  for (const fs::path& file : files) {
    const database_to_list database = checked(file);
    const auto [before, is_new] = files_by_uuid.try_emplace(database.uuid, database.name);
    if (!is_new) {
      throw refusal("{} and {} have the same UUID {}; keep one of them.", before->second,
                    database.name, database.uuid);
    }
    const std::string path = "${root}" + database.name;
    const auto known = names.find(path);
    const listing_names listed = known != names.end()
                                     ? known->second
                                     : listing_names{default_device, version_of(database.name)};
    append_entry(catalogue, listed.device, entry_of(database, listed.version, path));
    lines += fmt::format("{}: {} {} ({})\n", sanitize(database.name), sanitize(listed.device),
                         sanitize(listed.version), database.uuid);
  }
  const fs::path file = catalogue_path(directory);
  write_output(file, catalogue.dump(2) + "\n");
  return lines + fmt::format("{}: {} database{}\n", sanitize(platform::path_to_utf8(file)),
                             files.size(), files.size() == 1 ? "" : "s");
}

std::string add_database(const fs::path& file, const fs::path& cache, const listing_names& names) {
  const database_to_list database = checked(file);
  const std::string device = names.device.empty() ? "modem" : names.device;
  const std::string version = names.version.empty() ? version_of(database.name) : names.version;
  require_name(device);
  require_name(version);
  json catalogue = read_catalogue(cache);
  if (catalogue.is_null()) catalogue = empty_catalogue(earliest_time);
  json* place = nullptr;
  for (json& each : catalogue["firmwares"]["devices"]) {
    for (json& entry : each["versions"]) {
      if (entry.at("uuid") != database.uuid) continue;
      if (each.at("type") != device || entry.at("version") != version) {
        throw refusal(
            "the cache {} has the database {} already, as {} {}; name these with "
            "--device and --version to replace it.",
            platform::path_to_utf8(cache), database.uuid,
            sanitize(each.at("type").get<std::string>()),
            sanitize(entry.at("version").get<std::string>()));
      }
      place = &entry;
    }
  }
  json entry = entry_of(database, version, database.name);
  const fs::path directory = database_directory(version_directory(cache, device, entry), entry);
  std::error_code error;
  fs::create_directories(directory, error);
  if (error) {
    throw user_error(
        exit_code::output_failed,
        fmt::format("cannot make {}: {}.", platform::path_to_utf8(directory), error.message()));
  }
  const fs::path copy = database_file(directory, entry);
  write_output(copy, read_database_bytes(file));
  if (place != nullptr) {
    // The search takes any database in the directory.
    const fs::path old = database_file(directory, *place);
    if (old != copy && old.parent_path() == directory) fs::remove(old, error);
    *place = std::move(entry);
  } else {
    append_entry(catalogue, device, std::move(entry));
  }
  write_output(catalogue_path(cache), catalogue.dump(2) + "\n");
  return fmt::format("{}: {} {} ({})\n", sanitize(platform::path_to_utf8(copy)), sanitize(device),
                     sanitize(version), database.uuid);
}

}  // namespace veltra::host
