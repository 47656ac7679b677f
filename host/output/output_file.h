// output_file.h - a file that appears under its name only when it is whole.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/stream_writer.h"

namespace veltra::host {

// Writes to a temporary file beside the target and renames it on commit(), so
// that neither a failure nor a kill leaves half a file under the final name. A
// link stays a link: the file that it leads to is replaced.
//
// Standard output (the name "-") and whatever else is not a regular file - a
// device, a named pipe - get the bytes themselves: with `sequential` access at
// once, with `random` access when they are complete, until when they wait in an
// unnamed temporary file.
//
// One thread at a time, but for hurry(). Every failure is a user_error (output_failed) with the
// file's name and the system's reason.
class output_file {
 public:
  enum class access { sequential, random };

  // True if `target` is standard output or no regular file: what is written there is
  // gone.
  static bool is_stream(const std::filesystem::path& target);

  // Opens the output; a named pipe waits here for its reader. A directory is
  // refused.
  output_file(std::filesystem::path target, access how);
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;

  // Removes the temporary file unless commit() succeeded.
  ~output_file();

  // Appends a record at the end: bytes that are worth something only together. They
  // are collected, and given to the system with those that follow.
  void write(std::string_view record);

  // Gives the system all that was collected. No effect while the bytes wait to be
  // complete.
  void flush();

  // After a failure to write: gives up the records that did not get into the file.
  // Returns false if there is none left, or the output is no regular file. After
  // true, bytes may still be replaced, and commit() leaves the whole records.
  bool keep_whole_records();

  // Replaces bytes that were written before; only with random access.
  void write_at(std::uint64_t offset, std::string_view bytes);

  // From now on a stream whose reader takes nothing for two seconds is a failure; until
  // then it may take its time. On POSIX systems only. Any thread.
  void hurry() noexcept { stream_.hurry(); }

  // Bytes written so far.
  std::uint64_t size() const noexcept { return size_; }

  // Hands all bytes to the system, checks that it took them, and closes the
  // file; nothing can be written afterwards. What still can fail then is only
  // the rename, so that several outputs can be made to appear together.
  void finish();
  bool is_finished() const noexcept { return file_ == nullptr; }

  // finish(), unless that was done, then puts the file under its final name.
  void commit();

  // After a commit() that failed when all bytes were written: gives the name up, so that
  // the bytes stay in a file of another name beside it, which is returned. Empty if there
  // is no such file.
  std::filesystem::path leave();

 private:
  struct closer {
    void operator()(std::FILE* file) const noexcept {
      if (file != stdout) std::fclose(file);
    }
  };
  using file_handle = std::unique_ptr<std::FILE, closer>;

  [[noreturn]] void fail(const char* what, int error) const;
  file_handle checked(std::FILE* opened) const;
  void drain();
  void put(std::FILE* into, std::string_view bytes);
  void seek(std::uint64_t offset);
  std::size_t read_at(std::uint64_t offset, char* into, std::size_t count);
  void copy_to(std::FILE* target);
  void close(file_handle file);

  std::filesystem::path target_;
  std::filesystem::path temporary_;  // to be renamed; empty if there is none
  file_handle file_;                 // takes the bytes; null after finish()
  file_handle copy_to_;              // gets a copy of file_ in the end; null: file_ is the output
  platform::stream_writer stream_;   // for an output that is a stream
  std::string collected_;            // whole records, not given to the system yet
  std::uint64_t size_ = 0;
  std::uint64_t safe_size_ = 0;  // without collected_: what a failure leaves
  bool torn_ = false;            // some of the collected bytes may be in the file
  bool cut_ = false;             // to size_ in the end
};

}  // namespace veltra::host
