#include "plugin/database/file_io.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/file.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;

constexpr const char* cannot_read = "cannot open file: ";
constexpr const char* cannot_write = "unable to open file to write: ";

std::error_code last_error() {
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

}  // namespace

file_error::file_error(file_access access, const fs::path& path, std::error_code reason)
    : std::runtime_error((access == file_access::read ? cannot_read : cannot_write) +
                         platform::path_to_utf8(path)),
      access_(access),
      reason_(reason) {}

bool path_exists(const fs::path& path) {
  std::error_code error;
  const bool found = fs::exists(path, error);
  if (error) throw fs::filesystem_error("exists", path, error);
  return found;
}

std::string read_file(const fs::path& path, std::uintmax_t max_size) {
  errno = 0;
  const platform::owned_file file(platform::open_file(path, platform::open_mode::read));
  if (!file) throw file_error(file_access::read, path, last_error());
  std::string bytes;
  std::error_code unknown_size;
  const std::uintmax_t size = std::min(max_size, fs::file_size(path, unknown_size));
  if (!unknown_size && size < bytes.max_size()) bytes.reserve(static_cast<std::size_t>(size));
  std::array<char, 65536> block{};
  while (const std::size_t count =
             platform::read_bytes(file.get(), block.data(),
                                  static_cast<std::size_t>(std::min<std::uintmax_t>(
                                      block.size(), max_size - bytes.size())))) {
    bytes.append(block.data(), count);
  }
  if (std::ferror(file.get()) != 0) throw file_error(file_access::read, path, last_error());
  return bytes;
}

void write_file(const fs::path& path, std::string_view bytes, file_operations& operations) {
  remove_abandoned_parts(path, operations);
  atomic_file file(operations);
  std::error_code failure = file.open(path);
  if (!failure) failure = file.write(bytes);
  if (!failure) failure = file.commit();
  if (failure) throw file_error(file_access::write, path, failure);
}

}  // namespace veltra
