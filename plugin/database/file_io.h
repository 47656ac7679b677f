// file_io.h - whole files in and out, such that no file is ever half written.
#pragma once

#include <cstdint>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "base/atomic_file.h"

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

// True if there is a file or directory. Throws std::filesystem::filesystem_error
// naming "exists" if that cannot be determined: the standard library's own texts differ
// from one platform to the next.
bool path_exists(const std::filesystem::path& path);

// Returns all bytes of a file, but at most `max_size` from its start. Throws file_error "cannot
// open file: " + path if it cannot be opened or read to its end.
std::string read_file(const std::filesystem::path& path,
                      std::uintmax_t max_size = std::numeric_limits<std::uintmax_t>::max());

// Makes `bytes` the content of the file `path`, new or in place of what it held, as
// an atomic_file. What a lost process left of an earlier attempt is removed once it is
// an hour old.
//
// Throws file_error "unable to open file to write: " + path when any step fails.
void write_file(const std::filesystem::path& path, std::string_view bytes,
                file_operations& operations = system_file_operations());

}  // namespace veltra
