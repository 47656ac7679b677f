// atomic_file.h - a file that appears under its name only when it is whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace veltra {

// What an atomic_file asks of the system; the members do just that. Tests put
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

// The same without waiting for the device: a loss of power may leave an empty or a torn file
// under the name.
file_operations& unsynced_file_operations();

// Bytes go to a part file beside the target, down to the device, and only commit()
// gives them the target's name: a full device, a killed process or a loss of power
// leaves the old content or the new one, whole. The part is called
// NAME.XXXXXXXX.part, X being random hexadecimal digits.
//
// A symbolic link stays, and what it points to is replaced, or made if it does not
// exist; links in a circle are refused. A file that may not be written is not
// replaced either; permissions stay as they were.
//
// One thread. Failures are returned; after one of write() the bytes of the earlier
// calls are still good, see commit().
class atomic_file {
 public:
  explicit atomic_file(file_operations& operations = system_file_operations());
  atomic_file(const atomic_file&) = delete;
  atomic_file& operator=(const atomic_file&) = delete;

  // Removes the part unless commit() succeeded or keep_part() was called.
  ~atomic_file();

  // Makes the part file. Once only, and before everything else.
  std::error_code open(const std::filesystem::path& target);

  // Appends all of `bytes`, or nothing that commit() would keep.
  std::error_code write(std::string_view bytes);

  // Bytes of the writes that succeeded.
  std::uint64_t size() const { return size_; }

  // Hands everything to the device, so that it survives a loss of power.
  std::error_code sync();

  // sync(), then closes the part; what remains to fail is the name. Bytes of failed
  // writes are cut off.
  std::error_code finish();
  bool is_open() const { return file_ != nullptr; }

  // finish() unless that was done, then gives the part the target's name. After a
  // failure it may be called again, or keep_part().
  std::error_code commit();

  // Leaves the finished part under its own name, which is returned; empty if there is
  // none.
  std::filesystem::path keep_part();

 private:
  file_operations& operations_;
  std::filesystem::path target_;
  std::filesystem::path part_;  // empty: there is none
  std::FILE* file_ = nullptr;
  std::uint64_t size_ = 0;
  bool is_torn_ = false;  // behind size_ there may be bytes of a failed write
};

// Removes parts of `target` that processes have left that did not come to their end:
// those that nobody wrote to for an hour. Best effort.
void remove_abandoned_parts(const std::filesystem::path& target,
                            file_operations& operations = system_file_operations());

}  // namespace veltra
