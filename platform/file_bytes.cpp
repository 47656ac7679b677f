#include <cerrno>

#include "platform/file.h"

namespace platform {

namespace {

// Whether the last operation on `file` was interrupted; then it may be repeated.
bool was_interrupted(std::FILE* file) {
  if (std::ferror(file) == 0 || errno != EINTR) return false;
  std::clearerr(file);
  return true;
}

}  // namespace

std::size_t read_bytes(std::FILE* file, char* to, std::size_t size) {
  std::size_t count = 0;
  do {
    count += std::fread(to + count, 1, size - count, file);
  } while (count < size && was_interrupted(file));
  return count;
}

std::size_t write_bytes(std::FILE* file, const char* from, std::size_t size) {
  std::size_t count = 0;
  do {
    count += std::fwrite(from + count, 1, size - count, file);
  } while (count < size && was_interrupted(file));
  return count;
}

int close_file(std::FILE* file) {
  return std::fclose(file) == 0 || errno == EINTR ? 0 : EOF;
}

}  // namespace platform
