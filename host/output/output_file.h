// output_file.h - a file or a stream that a command writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "base/atomic_file.h"
#include "host/output/gzip_member.h"
#include "platform/stream_writer.h"

namespace veltra::host {

// A regular file is an atomic_file: it has its name only when it is whole. Standard
// output (the name "-") and anything other than a regular file - a device, a named
// pipe - is written directly.
//
// One thread at a time, except for limit_writes(). Every failure is a user_error
// (output_failed) with the file's name and the system's reason.
class output_file {
 public:
  // True if `target` is standard output or not a regular file: what is written there
  // cannot be taken back.
  static bool is_stream(const std::filesystem::path& target);

  // How the records are stored. What is compressed is handed on in large blocks only.
  enum class storage { plain, gzip };

  // Opens the output; a named pipe waits here for its reader. A directory is refused. A
  // stream is never compressed. `operations`, which a stream does not use, must outlive the
  // object.
  explicit output_file(std::filesystem::path target, storage how = storage::plain,
                       file_operations& operations = system_file_operations());
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;

  // Appends a record: bytes that are worth something only together. Records are
  // collected and given to the system with those that follow.
  void write(std::string_view record);

  // Likewise; the record is what `append(to)` appends to a string, which saves a copy of it.
  // If that throws, only keep_whole_records() and destruction may follow.
  template <typename Append>
  void write_with(const Append& append) {
    const std::size_t before = collected_.size();
    append(collected_);
    size_ += collected_.size() - before;
    if (collected_.size() >= max_collected()) put_collected();
  }

  // Gives the system everything that was collected, unless it waits for a block that is
  // worth compressing.
  void flush();

  // From now on a stream whose reader takes nothing for two seconds is a failure; until
  // then it may take its time. On POSIX systems only. Any thread.
  void limit_writes() noexcept { stream_.limit_writes(); }

  // Bytes of all records so far.
  std::uint64_t size() const noexcept { return size_; }

  // Hands all bytes to the system and closes the file; nothing can be written
  // afterwards. What can still fail then is only the name, so that several outputs can
  // be made to appear together.
  void finish();
  bool is_finished() const noexcept { return is_finished_; }

  // finish() unless that was done, then gives the file its name.
  void commit();

  // After a failure to write: gives up the records that did not get into the file.
  // Returns false if none is left or the output is a stream. After true, more may be
  // written, and commit() leaves whole records.
  bool keep_whole_records();

  // After a commit() that failed although all bytes were written: gives the name up, so
  // that the bytes stay in the part file, whose name is returned. Empty if there is none.
  std::filesystem::path keep_part();

 private:
  struct closer {
    void operator()(std::FILE* file) const noexcept {
      if (file != stdout) std::fclose(file);  // standard output is not ours to close
    }
  };

  std::size_t max_collected() const { return compressor_ ? compressed_block : collected_block; }
  void open_stream();
  void put_collected();
  void check(std::error_code error) const;
  [[noreturn]] void fail(int error) const;

  static constexpr std::size_t collected_block = std::size_t{1} << 16;
  // Larger blocks compress better.
  static constexpr std::size_t compressed_block = std::size_t{1} << 18;

  std::filesystem::path target_;
  const bool is_stream_;
  atomic_file file_;                                // unless it is a stream
  std::unique_ptr<std::FILE, closer> stream_file_;  // if it is one
  platform::stream_writer stream_;
  std::string collected_;  // whole records, not given to the system yet
  std::optional<gzip_member_writer> compressor_;
  std::uint64_t size_ = 0;
  std::uint64_t given_ = 0;  // bytes of records that the system has
  bool is_finished_ = false;
};

}  // namespace veltra::host
