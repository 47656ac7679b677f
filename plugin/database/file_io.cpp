#include "plugin/database/file_io.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <memory>
#include <random>

#include "platform/file.h"
#include "platform/symbolic_links.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;

constexpr const char* cannot_read = "cannot open file: ";
constexpr const char* cannot_write = "unable to open file to write: ";

// Files that are being written. Neither of the extensions by which a database
// file is known, and short, so that a name of the longest length has one too.
constexpr std::string_view part_prefix = "veltra-";
constexpr std::string_view part_extension = ".part";
constexpr std::size_t part_digits = 16;  // hexadecimal, between the two

// No write of a file held in memory goes on for this long.
constexpr auto abandoned_after = std::chrono::hours(1);

std::error_code last_error() {
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

struct file_closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using open_file = std::unique_ptr<std::FILE, file_closer>;

// Random, because a cache may be shared by machines or containers in which process
// numbers repeat.
fs::path new_part_path(const fs::path& target) {
  std::random_device random;
  return target.parent_path() /
         fmt::format("{}{:08x}{:08x}{}", part_prefix, random(), random(), part_extension);
}

// By the whole name: the directory need not be a cache of this program's alone.
bool is_part(const fs::path& path) {
  const std::string name = platform::path_to_utf8(path.filename());
  if (name.size() != part_prefix.size() + part_digits + part_extension.size() ||
      !name.starts_with(part_prefix) || !name.ends_with(part_extension)) {
    return false;
  }
  return std::string_view(name)
             .substr(part_prefix.size(), part_digits)
             .find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// Best effort: what cannot be listed or removed is left for the next time.
void remove_abandoned_parts(const fs::path& directory, file_operations& operations) {
  std::error_code error;
  const auto now = fs::file_time_type::clock::now();
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    if (!is_part(entry->path())) continue;
    const auto written = entry->last_write_time(error);
    if (!error && now - written > abandoned_after) operations.remove(entry->path());
    error.clear();
  }
}

// The new file could take the name of one that is protected. Returns why it must not.
std::error_code write_protection(const fs::path& target) {
  std::error_code error;
  if (!fs::exists(target, error)) return {};
  errno = 0;
  const std::fstream probe(target, std::ios::binary | std::ios::in | std::ios::out);
  return probe ? std::error_code() : last_error();
}

// Writes the part file whole, down to the device. Returns the first failure.
std::error_code write_part(const fs::path& part, std::string_view bytes,
                           file_operations& operations) {
  errno = 0;
  std::FILE* file = operations.create(part);
  if (file == nullptr) return last_error();
  std::error_code failure;
  if (operations.write(file, bytes.data(), bytes.size()) != bytes.size() ||
      operations.sync(file) != 0) {
    failure = last_error();
  }
  if (operations.close(file) != 0 && !failure) failure = last_error();
  return failure;
}

void keep_permissions(const fs::path& target, const fs::path& part) {
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  if (!error && fs::exists(status)) fs::permissions(part, status.permissions(), error);
}

}  // namespace

file_error::file_error(file_access access, const fs::path& path, std::error_code reason)
    : std::runtime_error((access == file_access::read ? cannot_read : cannot_write) +
                         platform::path_to_utf8(path)),
      access_(access),
      reason_(reason) {}

std::FILE* file_operations::create(const fs::path& path) {
  return platform::open_file(path, platform::open_mode::replace);
}

std::size_t file_operations::write(std::FILE* file, const char* bytes, std::size_t size) {
  return std::fwrite(bytes, 1, size, file);
}

int file_operations::sync(std::FILE* file) {
  return platform::sync_file(file);
}

int file_operations::close(std::FILE* file) {
  return std::fclose(file);
}

std::error_code file_operations::replace(const fs::path& from, const fs::path& to) {
  return platform::replace_file(from, to);
}

void file_operations::remove(const fs::path& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
}

file_operations& system_file_operations() {
  static file_operations operations;
  return operations;
}

bool path_exists(const fs::path& path) {
  std::error_code error;
  const bool found = fs::exists(path, error);
  if (error) throw fs::filesystem_error("exists", path, error);
  return found;
}

std::string read_file(const fs::path& path) {
  errno = 0;
  const open_file file(platform::open_file(path, platform::open_mode::read));
  if (!file) throw file_error(file_access::read, path, last_error());
  std::string bytes;
  std::error_code unknown_size;
  const std::uintmax_t size = fs::file_size(path, unknown_size);
  if (!unknown_size && size < bytes.max_size()) bytes.reserve(static_cast<std::size_t>(size));
  std::array<char, 65536> block{};
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    bytes.append(block.data(), count);
  }
  if (std::ferror(file.get()) != 0) throw file_error(file_access::read, path, last_error());
  return bytes;
}

void write_file(const fs::path& path, std::string_view bytes, file_operations& operations) {
  std::error_code lost;
  const fs::path target = platform::end_of_links(path, lost);
  if (lost) throw file_error(file_access::write, path, lost);
  if (const std::error_code reason = write_protection(target)) {
    throw file_error(file_access::write, path, reason);
  }
  remove_abandoned_parts(target.has_parent_path() ? target.parent_path() : ".", operations);
  const fs::path part = new_part_path(target);
  std::error_code failure = write_part(part, bytes, operations);
  if (!failure) {
    keep_permissions(target, part);
    failure = operations.replace(part, target);
  }
  if (failure) {
    operations.remove(part);
    throw file_error(file_access::write, path, failure);
  }
}

}  // namespace veltra
