// file_io.h - whole files in and out, such that no file is ever half written.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace veltra {

enum class file_access { read, write };

// A file could not be read or written. The text names what was tried and the
// path; reason() is the system's own.
class file_error : public std::runtime_error {
 public:
  file_error(file_access access, const std::filesystem::path& path, std::error_code reason);

  file_access access() const noexcept { return access_; }
  const std::error_code& reason() const { return reason_; }

 private:
  file_access access_;
  std::error_code reason_;
};

// What write_file() asks of the system; the members do just that. Tests put
// failures in their place.
class file_operations {
 public:
  virtual ~file_operations() = default;

  // A new or emptied file, in binary mode. Null, with errno set, on failure.
  virtual std::FILE* create(const std::filesystem::path& path);
  // The count of bytes taken; fewer than `size`, with errno set, on failure.
  virtual std::size_t write(std::FILE* file, const char* bytes, std::size_t size);
  // 0 once everything is on the device, otherwise -1 with errno set.
  virtual int sync(std::FILE* file);
  // 0, otherwise EOF with errno set; the file is closed in both cases.
  virtual int close(std::FILE* file);
  // Gives `from` the name `to`, in place of a file of that name.
  virtual std::error_code replace(const std::filesystem::path& from,
                                  const std::filesystem::path& to);
  virtual void remove(const std::filesystem::path& path);
};

// The operations as the system has them. Lives as long as the program.
file_operations& system_file_operations();

// True if there is a file or directory. Throws std::filesystem::filesystem_error
// naming "exists" if that cannot be told: the standard library's own texts differ
// from one platform to the next.
bool path_exists(const std::filesystem::path& path);

// Returns all bytes of a file. Throws file_error "cannot open file: " + path if
// it cannot be opened or read to its end.
std::string read_file(const std::filesystem::path& path);

// Makes `bytes` the content of the file `path`, new or in place of what it held.
// The bytes go to a file beside it, to the device, and only then to that name: a
// full device, a lost process or a loss of power leaves the old content or the
// new one, whole. A file that a lost process left beside is removed by a later
// write into the same directory, once it is an hour old.
//
// A symbolic link stays, and what it points to is replaced, or made if it does not
// exist; links that lead round in a circle are refused. A file that may not be
// written is not replaced either; permissions stay as they were.
//
// Throws file_error "unable to open file to write: " + path when any step fails.
void write_file(const std::filesystem::path& path, std::string_view bytes,
                file_operations& operations = system_file_operations());

}  // namespace veltra
