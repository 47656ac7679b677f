// output_file.h - a file that appears under its name only when it is whole.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

namespace veltra::host {

// Writes to a temporary file beside the target and renames it on commit(), so
// that neither a failure nor a kill leaves half a file under the final name.
// The name "-" is standard output: with `random` access the bytes wait in an
// unnamed temporary file until commit(), with `sequential` they go out at once.
//
// One thread at a time. Every failure is a user_error (output_failed) with the
// file's name and the system's reason.
class output_file {
 public:
  enum class access { sequential, random };

  output_file(std::filesystem::path target, access how);
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;

  // Removes the temporary file unless commit() succeeded.
  ~output_file();

  // Appends at the end.
  void write(std::string_view bytes);

  // Replaces bytes that were written before; only with random access.
  void write_at(std::uint64_t offset, std::string_view bytes);

  // Makes room at `offset` by moving all that follows; only with random access.
  // Costs one copy of the rest of the file.
  void insert(std::uint64_t offset, std::string_view bytes);

  // Bytes written so far.
  std::uint64_t size() const noexcept { return size_; }

  // Flushes, checks, and puts the file under its final name.
  void commit();

 private:
  struct closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };

  [[noreturn]] void fail(const char* what, int error) const;
  void seek(std::uint64_t offset);
  std::size_t read_at(std::uint64_t offset, char* into, std::size_t count);
  void copy_to_standard_output();

  std::filesystem::path target_;
  std::filesystem::path temporary_;          // empty for standard output
  std::unique_ptr<std::FILE, closer> file_;  // null when bytes go straight to stdout
  std::uint64_t size_ = 0;
};

}  // namespace veltra::host
