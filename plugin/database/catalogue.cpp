#include "plugin/database/catalogue.h"

#include <ctime>
#include <iomanip>
#include <locale>
#include <sstream>

#include "base/json_member.h"
#include "platform/file.h"
#include "plugin/database/location.h"

namespace veltra {

catalogue_time parse_catalogue_timestamp(const std::string& text) {
  std::tm calendar{};
  std::istringstream input(text);
  input.imbue(std::locale::classic());
  input >> std::get_time(&calendar, "%Y-%m-%d %H:%M:%S");
  return catalogue_time(std::chrono::seconds(std::mktime(&calendar)));
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
