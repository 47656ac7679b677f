#include "host/database/cache_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <utility>

#include "host/console.h"
#include "host/database/database_failure.h"
#include "host/database/guarded_policy.h"
#include "platform/file.h"
#include "plugin/database/catalogue.h"

namespace veltra::host {

namespace {

const char* name_of(database_state state) {
  switch (state) {
    case database_state::intact:
      return "intact";
    case database_state::missing:
      return "missing";
    case database_state::damaged:
      return "damaged";
    case database_state::unreadable:
      return "unreadable";
    case database_state::hidden:
      return "hidden";
  }
  return "unknown";
}

using table_row = std::array<std::string, 5>;

std::string format_table(const std::vector<table_row>& rows) {
  std::array<std::size_t, 5> widths{};
  for (const table_row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const table_row& row : rows) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i) {
      text += fmt::format("{:<{}}  ", row[i], widths[i]);
    }
    text += row.back() + "\n";
  }
  return text;
}

}  // namespace

std::vector<cached_database> look_at_cache(const database_options& options) {
  const std::filesystem::path cache = platform::path_from_utf8(options.cache);
  guarded_policy(options, {}, {}).check_catalogue_file(catalogue_path(cache));
  try {
    return list_cached_databases(cache);
  } catch (const std::exception& failure) {
    if (auto known = explain_sync_failure(failure, options, {})) throw *known;
    throw;
  }
}

std::string format_cache_table(const std::vector<cached_database>& databases) {
  std::vector<table_row> rows = {{"DEVICE", "VERSION", "UUID", "STATE", "FILE"}};
  for (const cached_database& database : databases) {
    rows.push_back({sanitize(database.device), sanitize(database.version), sanitize(database.uuid),
                    name_of(database.state), sanitize(platform::path_to_utf8(database.file))});
  }
  return format_table(rows);
}

std::string format_cache_json(const std::vector<cached_database>& databases) {
  kovax::json list = kovax::json::array();
  for (const cached_database& database : databases) {
    kovax::json entry = {{"device", database.device},
                         {"version", database.version},
                         {"uuid", database.uuid},
                         {"file", platform::path_to_utf8(database.file)},
                         {"intact", database.state == database_state::intact},
                         {"state", name_of(database.state)}};
    if (!database.reason.empty()) entry["reason"] = database.reason;
    list.push_back(std::move(entry));
  }
  return list.dump(2, ' ', false, kovax::json::error_handler_t::replace) + "\n";
}

std::string describe_fault(const cached_database& database) {
  const std::string file = platform::path_to_utf8(database.file);
  const auto describe = [&database](const std::string& fault) {
    return sanitize(
        fmt::format("{} {} ({}): {}", database.device, database.version, database.uuid, fault));
  };
  switch (database.state) {
    case database_state::missing:
      return describe(fmt::format("missing, there is no {}", file));
    case database_state::damaged:
      return describe(
          fmt::format("damaged, the digest of {} is not the one in the catalogue", file));
    case database_state::unreadable:
      return describe(fmt::format("unreadable, {}", database.reason));
    case database_state::hidden:
      return describe(
          fmt::format("{} is intact but not found by its UUID: {}", file, database.reason));
    case database_state::intact:
      break;
  }
  return describe("intact");
}

}  // namespace veltra::host
