#include "platform/file.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <unistd.h>

namespace platform {

std::filesystem::path path_from_utf8(std::string_view text) {
  return {std::string(text)};
}

std::string path_to_utf8(const std::filesystem::path& path) {
  return path.string();
}

bool is_absolute_path(const std::filesystem::path& path) {
  return path.is_absolute();
}

bool is_pipe_name(const std::filesystem::path& /*path*/) {
  return false;
}

std::FILE* open_file(const std::filesystem::path& path, open_mode mode) {
  // "e": not inherited by programs that are started later.
  switch (mode) {
    case open_mode::read:
      return std::fopen(path.c_str(), "rbe");
    case open_mode::write:
      return std::fopen(path.c_str(), "wbe");
    case open_mode::create:
      return std::fopen(path.c_str(), "wbxe");
    case open_mode::replace:
      break;
  }
  return std::fopen(path.c_str(), "w+be");
}

std::FILE* open_pipe_for_reading(const std::filesystem::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  return descriptor < 0 ? nullptr : fdopen(descriptor, "rb");
}

std::FILE* open_temporary_file() {
  return std::tmpfile();
}

int seek_file(std::FILE* file, std::uint64_t offset) {
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET);
}

int sync_file(std::FILE* file) {
  return std::fflush(file) == 0 && fsync(fileno(file)) == 0 ? 0 : -1;
}

void sync_directory(const std::filesystem::path& path) {
  const int directory = open(path.empty() ? "." : path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return;
  fsync(directory);
  close(directory);
}

std::error_code replace_file(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::error_code error;
  std::filesystem::rename(from, to, error);
  return error;
}

void set_binary_mode(std::FILE* /*file*/) {}

unsigned long process_id() {
  return static_cast<unsigned long>(getpid());
}

bool is_terminal(std::FILE* file) {
  return isatty(fileno(file)) == 1;
}

unsigned terminal_columns(std::FILE* file) {
  winsize size{};
  return ioctl(fileno(file), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::filesystem::path executable_path() {
  return std::filesystem::read_symlink("/proc/self/exe");
}

}  // namespace platform
