#include "host/database/database_file.h"

#include <fmt/format.h>

#include <system_error>

#include "platform/file.h"
#include "plugin/database/file_io.h"

namespace veltra::host {

namespace {

user_error unreadable(const std::filesystem::path& path, const std::error_code& error) {
  return {exit_code::bad_input,
          fmt::format("{} cannot be read: {}; check that it is a file and its permissions.",
                      platform::path_to_utf8(path), error.default_error_condition().message())};
}

}  // namespace

std::string read_database_bytes(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    throw user_error(exit_code::bad_input, fmt::format("there is no file {}; check the name.",
                                                       platform::path_to_utf8(path)));
  }
  if (error) throw unreadable(path, error);
  if (status.type() == std::filesystem::file_type::directory) {
    throw unreadable(path, std::make_error_code(std::errc::is_a_directory));
  }
  // Opening a pipe or a device could wait forever.
  if (status.type() != std::filesystem::file_type::regular) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} is not a regular file; give a trace database, .json or "
                                 ".tar.gz.",
                                 platform::path_to_utf8(path)));
  }
  try {
    return read_file(path);
  } catch (const file_error& failure) {
    throw unreadable(path, failure.reason());
  }
}

}  // namespace veltra::host
