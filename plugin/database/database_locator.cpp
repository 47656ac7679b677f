#include "plugin/database/database_locator.h"

#include <stdexcept>

#include "platform/file.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;

// A dangling link is not an error: its type is "not found".
fs::file_type type_of(const fs::directory_entry& entry) {
  std::error_code error;
  const fs::file_type type = entry.status(error).type();
  if (type == fs::file_type::none) {
    throw fs::filesystem_error("directory_entry::status", entry.path(), error);
  }
  return type;
}

}  // namespace

fs::path locate_database_directory(const std::vector<std::string>& directories,
                                   std::string_view uuid, const host_log& log) {
  for (const std::string& directory : directories) {
    log.progress("try to locate db directory " + directory);
    for (const auto& entry : fs::directory_iterator(platform::path_from_utf8(directory))) {
      if (type_of(entry) == fs::file_type::directory &&
          platform::path_to_utf8(entry.path().filename()) == uuid) {
        return entry.path();
      }
    }
  }
  throw std::runtime_error("unable to locate db directory");
}

fs::path find_database_file(const fs::path& directory) {
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (type_of(entry) != fs::file_type::regular) continue;
    const fs::path extension = entry.path().extension();
    if (extension == ".json" || extension == ".gz") return entry.path();
  }
  throw std::runtime_error("unable to locate db file");
}

}  // namespace veltra
