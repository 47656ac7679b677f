#include "plugin/database/catalogue.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>

#include "implementation/json_values.h"
#include "platform/file.h"
#include "plugin/database/location.h"

namespace veltra {

using kovax::array_member;
using kovax::member;
using kovax::text_member;

namespace {

// The years that every system's std::mktime() knows; some know no others.
constexpr int first_known_year = 1971;
constexpr int last_known_year = 2999;

// `calendar` as if it were UTC.
std::chrono::seconds seconds_in_utc(const std::tm& calendar) {
  using namespace std::chrono;
  const sys_days first_of_month =
      year(calendar.tm_year + 1900) / month(static_cast<unsigned>(calendar.tm_mon) + 1) / 1;
  return first_of_month.time_since_epoch() + days(calendar.tm_mday - 1) + hours(calendar.tm_hour) +
         minutes(calendar.tm_min) + seconds(calendar.tm_sec);
}

// `calendar`, which is local time, without daylight saving while tm_isdst is 0. Years
// that are not known have the offset from UTC of the nearest one that is.
std::chrono::seconds seconds_in_local_time(const std::tm& calendar) {
  std::tm known = calendar;
  known.tm_year = std::clamp(calendar.tm_year, first_known_year - 1900, last_known_year - 1900);
  const std::chrono::seconds years_between = seconds_in_utc(calendar) - seconds_in_utc(known);
  return years_between + std::chrono::seconds(std::mktime(&known));
}

}  // namespace

catalogue_time parse_catalogue_timestamp(const std::string& text) {
  std::tm calendar{};
  std::istringstream input(text);
  input.imbue(std::locale::classic());
  input >> std::get_time(&calendar, "%Y-%m-%d %H:%M:%S");
  return catalogue_time(seconds_in_local_time(calendar));
}

catalogue_time updated_time(const kovax::json& catalogue) {
  return parse_catalogue_timestamp(
      text_member(member(catalogue, "firmwares"), "updated_timestamp"));
}

void for_each_version(const kovax::json& catalogue, const version_visitor& visit) {
  // A list that is missing is refused and not taken as empty: a catalogue cut down
  // to nothing would look like a cache that is complete.
  for (const kovax::json& device : array_member(member(catalogue, "firmwares"), "devices")) {
    const std::string type = text_member(device, "type");
    for (const kovax::json& entry : array_member(device, "versions")) visit(type, entry);
  }
}

std::filesystem::path catalogue_path(const std::filesystem::path& cache_directory) {
  return cache_directory / "config.json";
}

std::filesystem::path version_directory(const std::filesystem::path& cache_directory,
                                        const std::string& type, const kovax::json& entry) {
  return cache_directory / platform::path_from_utf8(type) /
         platform::path_from_utf8(text_member(entry, "version"));
}

std::filesystem::path database_directory(const std::filesystem::path& version_directory,
                                         const kovax::json& entry) {
  return version_directory / platform::path_from_utf8(text_member(entry, "uuid"));
}

std::filesystem::path database_file(const std::filesystem::path& database_directory,
                                    const kovax::json& entry) {
  return database_directory / platform::path_from_utf8(cache_file_name(entry));
}

}  // namespace veltra
