#include "host/database/guarded_policy.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/console.h"
#include "host/user_error.h"
#include "implementation/json_values.h"
#include "platform/file.h"
#include "plugin/database/cached_database.h"
#include "plugin/database/catalogue.h"
#include "plugin/database/location.h"
#include "plugin/path_parameter.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;
using kovax::json;
using kovax::member;
using kovax::text_member;

user_error refused(const fs::path& path, const char* what, const char* advice) {
  return {exit_code::bad_input, fmt::format("{} is {}; {}, or accept it with --trust-catalogue.",
                                            platform::path_to_utf8(path), what, advice)};
}

// What is there must be the file itself, or may be missing.
void require_regular_file(const fs::path& path) {
  std::error_code ignored;
  switch (fs::symlink_status(path, ignored).type()) {
    case fs::file_type::regular:
    case fs::file_type::not_found:
    case fs::file_type::none:       // reported by whoever opens it
    case fs::file_type::directory:  // likewise
      return;
    case fs::file_type::symlink:
      throw refused(path, "a link, which may lead out of the cache", "replace it by the file");
    default:
      // Opening a pipe would wait forever.
      throw refused(path, "not a regular file", "remove it");
  }
}

void require_no_link(const fs::path& directory) {
  std::error_code ignored;
  if (!fs::is_symlink(fs::symlink_status(directory, ignored))) return;
  throw refused(directory, "a link, which may lead out of the cache",
                "replace it by the directory");
}

bool is_catalogue(const std::string& text) {
  if (kovax::nested_deeper_than(text, 64)) return false;
  const json catalogue = json::parse(text, nullptr, false);
  return catalogue.is_object() && catalogue.contains("firmwares") &&
         catalogue.at("firmwares").is_object();
}

}  // namespace

bool stays_in_directory(const std::string& name) {
  const auto leads_out = [](unsigned char c) {
    return c == '/' || c == '\\' || c == ':' || c < 0x20 || c == 0x7F;
  };
  return !name.empty() && name != "." && name != ".." &&
         std::none_of(name.begin(), name.end(), leads_out);
}

guarded_policy::guarded_policy(const database_options& options, std::optional<std::string> uuid,
                               std::function<void(const std::string&)> note,
                               std::function<void(std::chrono::milliseconds)> pause)
    : options_(options), uuid_(std::move(uuid)), note_(std::move(note)), pause_(std::move(pause)) {}

download_limits guarded_policy::limits(std::size_t max_size) const {
  return {std::chrono::seconds(options_.timeout_s), max_size, pause_};
}

std::string guarded_policy::fetch_catalogue(const std::string& address,
                                            const std::optional<std::string>& proxy) const {
  if (is_plain_http(address)) {
    note_(
        fmt::format("the catalogue comes over plain http from {}: anyone on the way can replace "
                    "it and the databases.",
                    address));
  }
  std::string text = download_within(address, proxy, limits(max_catalogue_size));
  if (is_catalogue(text)) return text;
  throw download_error(address + ": what came is not a catalogue; it may be a web page");
}

std::string guarded_policy::fetch_database(const std::string& address,
                                           const std::optional<std::string>& proxy,
                                           const json& entry) const {
  std::string bytes = download_within(address, proxy, limits(max_database_size));
  if (database_file_intact(bytes, text_member(member(entry, "database"), "sha256"))) return bytes;
  throw download_error(address + ": what came does not have the catalogue's digest");
}

void guarded_policy::check_catalogue_file(const fs::path& file) const {
  if (!options_.trust_catalogue) require_regular_file(file);
}

void guarded_policy::check_entry(const fs::path& cache_directory, const std::string& type,
                                 const json& entry) const {
  if (options_.trust_catalogue) return;
  fs::path path = cache_directory;
  for (const std::string& name :
       {type, text_member(entry, "version"), text_member(entry, "uuid"), cache_file_name(entry)}) {
    if (!stays_in_directory(name)) {
      throw user_error(
          exit_code::bad_input,
          fmt::format("the catalogue {} has the name \"{}\", which may lead out of the cache; "
                      "correct the catalogue, or accept it with --trust-catalogue.",
                      platform::path_to_utf8(catalogue_path(cache_directory)), sanitize(name)));
    }
    require_no_link(path == cache_directory ? fs::path() : path);
    path /= platform::path_from_utf8(name);
  }
  require_regular_file(path);
}

database_need guarded_policy::need_of(const json& entry) const {
  if (!uuid_ || text_member(entry, "uuid") == *uuid_) return database_need::required;
  return options_.update ? database_need::wanted : database_need::none;
}

void require_catalogue(const database_options& options, const std::string& location) {
  const std::string address = resolve_location(options.root, expand_env_variables(location));
  guarded_policy(options, {}, [](const std::string&) {}).fetch_catalogue(address, options.proxy);
}

}  // namespace veltra::host
