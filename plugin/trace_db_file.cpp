#include "plugin/trace_db_file.h"

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "plugin/database/database_reader.h"
#include "plugin/trace_db.h"

namespace veltra {

namespace {

std::string read_whole_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const auto refuse = [&path] {
    throw std::runtime_error("veltra plugin cannot open trace file at " +
                             platform::path_to_utf8(path));
  };
  if (!file) refuse();
  std::string bytes;
  constexpr std::size_t block = std::size_t{1} << 20;
  while (file) {
    const std::size_t have = bytes.size();
    bytes.resize(have + block);
    file.read(bytes.data() + have, static_cast<std::streamsize>(block));
    bytes.resize(have + static_cast<std::size_t>(file.gcount()));
  }
  if (file.bad()) refuse();  // a directory opens and cannot be read
  return bytes;
}

bool is_archive(const std::filesystem::path& path) {
  const std::filesystem::path extension = path.extension();
  if (extension == ".gz") return true;
  if (extension == ".json") return false;
  throw std::runtime_error("Database file extension needs to be .gz or .json");
}

}  // namespace

database_collection read_trace_db_file(const std::filesystem::path& path, const host_log& log) {
  const std::string bytes = read_whole_file(path);
  const bool archive = is_archive(path);
  database_collection collection;
  read_trace_database(bytes, archive,
                      [&](std::string_view text) { process_trace_db(collection, log, text); });
  return collection;
}

}  // namespace veltra
