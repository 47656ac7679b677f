#include "plugin/trace_db_file.h"

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "plugin/database/database_reader.h"
#include "plugin/database/file_io.h"
#include "plugin/trace_db.h"

namespace veltra {

namespace {

std::string read_database_file(const std::filesystem::path& path) {
  try {
    return read_file(path);
  } catch (const file_error&) {
    throw std::runtime_error("veltra plugin cannot open trace file at " +
                             platform::path_to_utf8(path));
  }
}

bool is_archive(const std::filesystem::path& path) {
  const std::filesystem::path extension = path.extension();
  if (extension == ".gz") return true;
  if (extension == ".json") return false;
  throw std::runtime_error("Database file extension needs to be .gz or .json");
}

}  // namespace

database_collection read_trace_db_file(const std::filesystem::path& path, const host_log& log) {
  const std::string bytes = read_database_file(path);
  const bool archive = is_archive(path);
  database_collection collection;
  read_trace_database(bytes, archive,
                      [&](std::string_view text) { process_trace_db(collection, log, text); });
  return collection;
}

}  // namespace veltra
