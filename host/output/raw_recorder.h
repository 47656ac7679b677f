// raw_recorder.h - the raw bytes of a capture, kept as they came.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "host/source/packet.h"
#include "platform/stream_writer.h"

namespace veltra::host {

// Appends every raw packet to a file at once, so that neither Ctrl-C nor a kill
// costs a byte that was delivered. The file has its final name from the start, and
// `veltra decode` reads it. An earlier file of that name is replaced when the first
// byte comes, not by a run to which none comes. One thread, but for hurry(). Failures are
// user_errors (output_failed).
class raw_recorder {
 public:
  // "-" is standard output. Fails at once for a file that cannot be written; a named pipe
  // waits here for its reader. `patience` is the reader's after hurry().
  explicit raw_recorder(std::filesystem::path file, std::chrono::milliseconds patience =
                                                        platform::stream_writer::usual_patience);

  // Ignores packets that are not raw.
  void take(const packet& packet);

  // From now on a pipe whose reader takes nothing for the length of the patience is a
  // failure, see stream_writer. Any thread.
  void hurry() noexcept { stream_.hurry(); }

  // Makes sure that everything is in the file; nothing may be taken after it.
  void finish();

  std::uint64_t bytes() const { return bytes_; }

 private:
  struct closer {
    void operator()(std::FILE* file) const noexcept {
      if (file != stdout) std::fclose(file);
    }
  };

  void open();
  int write(std::string_view bytes);  // 0, or an errno value
  [[noreturn]] void fail(int error) const;

  const std::filesystem::path path_;
  const bool streamed_;  // no regular file
  platform::stream_writer stream_;
  std::unique_ptr<std::FILE, closer> file_;
  std::uint64_t bytes_ = 0;
};

}  // namespace veltra::host
