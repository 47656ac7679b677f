// byte_stream.h - reading what may wait for its writer, and handing bytes on under a name.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

namespace platform {

// A file, a named pipe or standard input, read to its end. One thread, except for cancel().
class byte_reader {
 public:
  // Opens `path`, or takes standard input for an empty one. A named pipe does not wait here for
  // its writer. Throws std::system_error.
  explicit byte_reader(const std::filesystem::path& path);
  byte_reader(const byte_reader&) = delete;
  byte_reader& operator=(const byte_reader&) = delete;
  ~byte_reader();

  // Waits for bytes and returns how many are in `into`, which is not empty; 0 at the end and after
  // cancel(). Throws std::system_error.
  std::size_t read(std::span<char> into);

  // Ends a read() under way, and all later ones. Any thread. On Windows a read that waits goes on
  // until something comes.
  void cancel() noexcept;

 private:
  struct state;
  std::unique_ptr<state> state_;
};

// A pipe whose other end this process opens by a name, as a file. Not on Windows: opening a pipe by
// the name that has to be looked for there first would use it up. One thread, except for
// close_reading_end().
class pipe_feed {
 public:
  // Throws std::system_error, on Windows std::errc::function_not_supported.
  pipe_feed();
  pipe_feed(const pipe_feed&) = delete;
  pipe_feed& operator=(const pipe_feed&) = delete;
  ~pipe_feed();

  // To open for reading while the object lives.
  const std::filesystem::path& name() const;

  // Waits until the reader has room. False if nobody reads any more.
  bool write(std::string_view bytes);

  // The reader finds the end behind what was written. Not while write() is under way.
  void end() noexcept;

  // From now on only those who have opened the name read: a write() whose reader has gone ends.
  // Any thread.
  void close_reading_end() noexcept;

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace platform
