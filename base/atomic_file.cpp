#include "base/atomic_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <random>
#include <string>
#include <utility>

#include "platform/file.h"
#include "platform/symbolic_links.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view part_extension = ".part";
constexpr std::size_t part_digits = 8;
// The length limit of most file systems is 255 bytes (NAME_MAX); a long name is cut so
// that its part has one too.
constexpr std::size_t max_name_in_part = 255 - part_digits - 1 - part_extension.size();

// Nothing that is written whole from memory takes this long.
constexpr auto abandoned_after = std::chrono::hours(1);

std::error_code last_error() {
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

std::string part_prefix(const fs::path& target) {
  std::string name = platform::path_to_utf8(target.filename());
  std::size_t length = std::min(name.size(), max_name_in_part);
  // Not within a character.
  while (length < name.size() && (static_cast<unsigned char>(name[length]) & 0xC0U) == 0x80U) {
    --length;
  }
  name.resize(length);
  return name + '.';
}

// Random, because a directory may be shared by machines or containers in which process
// numbers repeat.
fs::path new_part_path(const fs::path& target) {
  std::random_device random;
  return target.parent_path() / platform::path_from_utf8(fmt::format(
                                    "{}{:08x}{}", part_prefix(target), random(), part_extension));
}

bool is_part_of(std::string_view prefix, std::string_view name) {
  if (name.size() != prefix.size() + part_digits + part_extension.size()) return false;
  return name.starts_with(prefix) && name.ends_with(part_extension) &&
         name.substr(prefix.size(), part_digits).find_first_not_of("0123456789abcdef") ==
             std::string_view::npos;
}

// The new file could take the name of one that is protected. Returns why it must not.
std::error_code write_protection(const fs::path& target) {
  std::error_code error;
  if (!fs::exists(target, error)) return {};
  errno = 0;
  std::FILE* const probe = platform::open_file(target, platform::open_mode::update);
  if (probe == nullptr) return last_error();
  std::fclose(probe);
  return {};
}

void keep_permissions(const fs::path& target, const fs::path& part) {
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  if (!error && fs::exists(status)) fs::permissions(part, status.permissions(), error);
}

}  // namespace

std::FILE* file_operations::create(const fs::path& path) {
  return platform::open_file(path, platform::open_mode::replace);
}

std::size_t file_operations::write(std::FILE* file, const char* bytes, std::size_t size) {
  return platform::write_bytes(file, bytes, size);
}

int file_operations::sync(std::FILE* file) {
  return platform::sync_file(file);
}

int file_operations::close(std::FILE* file) {
  return platform::close_file(file);
}

std::error_code file_operations::replace(const fs::path& from, const fs::path& to) {
  std::error_code error = platform::replace_file(from, to);
  if (!error) platform::sync_directory(to.parent_path());
  return error;
}

void file_operations::remove(const fs::path& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
}

namespace {

class unsynced_operations : public file_operations {
 public:
  int sync(std::FILE* /*file*/) override { return 0; }
  std::error_code replace(const fs::path& from, const fs::path& to) override {
    return platform::replace_file(from, to);
  }
};

}  // namespace

file_operations& unsynced_file_operations() {
  static unsynced_operations operations;
  return operations;
}

file_operations& system_file_operations() {
  static file_operations operations;
  return operations;
}

atomic_file::atomic_file(file_operations& operations) : operations_(operations) {}

atomic_file::~atomic_file() {
  if (file_ != nullptr) operations_.close(file_);
  if (!part_.empty()) operations_.remove(part_);
}

std::error_code atomic_file::open(const fs::path& target) {
  std::error_code error;
  target_ = platform::resolve_symlinks(target, error);
  if (error) return error;
  if (const std::error_code reason = write_protection(target_)) return reason;
  fs::path part = new_part_path(target_);
  errno = 0;
  file_ = operations_.create(part);
  if (file_ == nullptr) return last_error();
  // Bytes that a full disk refused must not wait in a buffer, to be refused again.
  std::setvbuf(file_, nullptr, _IONBF, 0);
  part_ = std::move(part);
  return {};
}

std::error_code atomic_file::write(std::string_view bytes) {
  errno = 0;
  // What an earlier attempt left is written over, and what is longer cut off at the end.
  if (is_torn_ && platform::seek_file(file_, size_) != 0) return last_error();
  if (operations_.write(file_, bytes.data(), bytes.size()) != bytes.size()) {
    is_torn_ = true;
    return last_error();
  }
  size_ += bytes.size();
  return {};
}

std::error_code atomic_file::sync() {
  errno = 0;
  return operations_.sync(file_) == 0 ? std::error_code() : last_error();
}

std::error_code atomic_file::finish() {
  std::error_code failure;
  // Before the sync, which makes the size last, too.
  if (is_torn_) fs::resize_file(part_, size_, failure);
  if (!failure) failure = sync();
  errno = 0;
  if (operations_.close(std::exchange(file_, nullptr)) != 0 && !failure) failure = last_error();
  return failure;
}

std::error_code atomic_file::commit() {
  if (file_ != nullptr) {
    if (const std::error_code failure = finish()) return failure;
  }
  keep_permissions(target_, part_);
  if (const std::error_code failure = operations_.replace(part_, target_)) return failure;
  part_.clear();
  return {};
}

fs::path atomic_file::keep_part() {
  return std::exchange(part_, {});
}

void remove_abandoned_parts(const fs::path& target, file_operations& operations) {
  std::error_code error;
  const fs::path end = platform::resolve_symlinks(target, error);
  const std::string prefix = part_prefix(end);
  const auto now = fs::file_time_type::clock::now();
  const fs::path directory = end.has_parent_path() ? end.parent_path() : ".";
  for (fs::directory_iterator entry(directory, error), last; !error && entry != last;
       entry.increment(error)) {
    if (!is_part_of(prefix, platform::path_to_utf8(entry->path().filename()))) continue;
    std::error_code unknown;
    const auto written = entry->last_write_time(unknown);
    if (!unknown && now - written > abandoned_after) operations.remove(entry->path());
  }
}

}  // namespace veltra
