#include "plugin/database/cached_database.h"

#include <exception>
#include <optional>
#include <system_error>

#include "base/hex.h"
#include "implementation/json_document.h"
#include "implementation/json_values.h"
#include "platform/file.h"
#include "platform/sha256.h"
#include "plugin/database/catalogue.h"
#include "plugin/database/database_locator.h"
#include "plugin/database/digests_ahead.h"
#include "plugin/database/file_io.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;
using kovax::json;
using kovax::member;
using kovax::text_member;

// Why the search for a UUID would not come upon `file`; empty if it would.
std::string reason_hidden(const fs::path& directory, const fs::path& file) {
  try {
    const fs::path found = find_database_file(directory);
    if (found == file) return {};
    return "the search takes " + platform::path_to_utf8(found.filename()) + " instead";
  } catch (const std::exception&) {
    return "the search looks for .json and .gz right in " + platform::path_to_utf8(directory);
  }
}

void look_at_file(cached_database& database, const fs::path& directory, const json& entry) {
  std::error_code ignored;
  const fs::file_type type = fs::status(database.file, ignored).type();
  // Opening a pipe would wait forever.
  if (type == fs::file_type::fifo || type == fs::file_type::character) {
    database.state = database_state::unreadable;
    database.reason = "not a regular file: " + platform::path_to_utf8(database.file);
    return;
  }
  try {
    database.state = check_database(database.file, entry);
  } catch (const std::exception& failure) {
    database.state = database_state::unreadable;
    database.reason = failure.what();
  }
  if (database.state != database_state::intact) return;
  database.reason = reason_hidden(directory, database.file);
  if (!database.reason.empty()) database.state = database_state::hidden;
}

}  // namespace

std::string sha256_hex(std::string_view bytes) {
  std::string text;
  append_hex(text, platform::sha256(bytes));
  return text;
}

bool database_file_intact(std::string_view bytes, std::string_view expected) {
  return sha256_hex(bytes) == expected;
}

database_state check_database(const fs::path& file, const json& entry, digests_ahead* ahead) {
  if (!path_exists(file)) return database_state::missing;
  std::optional<std::string> digest = ahead != nullptr ? ahead->take(file) : std::nullopt;
  if (!digest) digest = sha256_hex(read_file(file));
  return *digest == text_member(member(entry, "database"), "sha256") ? database_state::intact
                                                                     : database_state::damaged;
}

std::vector<cached_database> list_cached_databases(const fs::path& cache_directory) {
  std::vector<cached_database> databases;
  const kovax::json_document catalogue(read_file(catalogue_path(cache_directory)));
  for_each_version(catalogue.root(), [&](const std::string& type, const json& entry) {
    const fs::path directory =
        database_directory(version_directory(cache_directory, type, entry), entry);
    cached_database database;
    database.device = type;
    database.version = text_member(entry, "version");
    database.uuid = text_member(entry, "uuid");
    database.location = text_member(member(entry, "database"), "path");
    database.file = database_file(directory, entry);
    look_at_file(database, directory, entry);
    databases.push_back(std::move(database));
  });
  return databases;
}

}  // namespace veltra
