#include "platform/file.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

namespace {

// "e": not inherited by programs that are started later.
const char* mode_text(open_mode mode) {
  switch (mode) {
    case open_mode::read:
      return "rbe";
    case open_mode::update:
      return "r+be";
    case open_mode::write:
      return "wbe";
    case open_mode::create:
      return "wbxe";
    case open_mode::append:
      return "a+be";
    case open_mode::replace:
      break;
  }
  return "w+be";
}

}  // namespace

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
  std::FILE* file = nullptr;
  do {
    errno = 0;
    file = std::fopen(path.c_str(), mode_text(mode));
  } while (file == nullptr && errno == EINTR);
  return file;
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
  if (std::fflush(file) != 0) return -1;
  int result = 0;
  do {
    result = fsync(fileno(file));
  } while (result != 0 && errno == EINTR);
  return result;
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
