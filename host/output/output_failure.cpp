#include "host/output/output_failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <system_error>

#include "platform/file.h"
#include "platform/stream_writer.h"

namespace veltra::host {

namespace {

std::filesystem::path directory_of(const std::filesystem::path& path) {
  const std::filesystem::path parent = path.parent_path();
  return parent.empty() ? std::filesystem::path(".") : parent;
}

// The reason and the next step.
std::string explain(const std::filesystem::path& path, int error) {
  const std::filesystem::path directory = directory_of(path);
  const std::string directory_name = platform::path_to_utf8(directory);
  const std::string reason = std::generic_category().message(error);
  std::error_code ignored;
  switch (error) {
    case EISDIR:
      return "it is a directory; give the name of a file in it.";
    case ENOENT:
      if (std::filesystem::exists(directory, ignored)) break;
      return fmt::format("there is no directory {}; make it first, or give another name.",
                         directory_name);
    case ENOTDIR:
      return fmt::format("{} is no directory; give another name.", directory_name);
    case EACCES:
    case EPERM:
    case EROFS:
      return fmt::format(
          "{}; get permission to make files in the directory {}, or give another place.", reason,
          directory_name);
    case ENOSPC:
      return fmt::format("{}; make room, or give another place.", reason);
    case EPIPE:
      return fmt::format("{}; the program that read it has ended.", reason);
    case ETIMEDOUT:
      if (path != "-" && !std::filesystem::is_other(path, ignored)) break;
      return fmt::format(
          "the program that reads it has not read for {} seconds, and the rest is lost; let it "
          "read, or give a file.",
          std::chrono::floor<std::chrono::seconds>(platform::stream_writer::usual_patience)
              .count());
    default:
      break;
  }
  return fmt::format("{}; give another place with room and write permission.", reason);
}

}  // namespace

user_error output_failure(std::string_view operation, const std::filesystem::path& path,
                          int error) {
  return {exit_code::output_failed,
          fmt::format("{} {}: {}", operation, output_name(path), explain(path, error))};
}

user_error file_failure(std::string_view operation, const std::filesystem::path& path, int error) {
  std::error_code ignored;
  if ((error != EACCES && error != EPERM) || !std::filesystem::exists(path, ignored)) {
    return output_failure(operation, path, error);
  }
  return {exit_code::output_failed,
          fmt::format("{} {}: {}; get permission to write this file, or give another place.",
                      operation, output_name(path), std::generic_category().message(error))};
}

void check_output_place(std::string_view operation, const std::filesystem::path& path) {
  if (path == "-" || platform::is_pipe_name(path)) return;
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) throw output_failure(operation, path, EISDIR);
  const auto directory = std::filesystem::status(directory_of(path), ignored);
  if (directory.type() == std::filesystem::file_type::not_found) {
    throw output_failure(operation, path, ENOENT);
  }
  if (directory.type() != std::filesystem::file_type::unknown &&
      directory.type() != std::filesystem::file_type::none &&
      !std::filesystem::is_directory(directory)) {
    throw output_failure(operation, path, ENOTDIR);
  }
}

std::string output_name(const std::filesystem::path& path) {
  return path == "-" ? "standard output" : platform::path_to_utf8(path);
}

}  // namespace veltra::host
