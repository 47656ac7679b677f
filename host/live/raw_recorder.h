// raw_recorder.h - the raw bytes of a capture, kept as they came.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "host/capture/packet.h"

namespace veltra::host {

// Appends every raw packet to a file at once, so that neither Ctrl-C nor a kill
// costs a byte that was delivered. The file has its final name from the start, and
// `veltra decode` reads it. An earlier file of that name is replaced when the first
// byte comes, not by a run to which none comes. One thread. Failures are user_errors
// (output_failed).
class raw_recorder {
 public:
  // "-" is standard output. Fails at once for a file that cannot be written.
  explicit raw_recorder(std::filesystem::path file);

  // Ignores packets that are not raw.
  void take(const packet& packet);

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
  [[noreturn]] void fail(int error) const;

  std::filesystem::path path_;
  std::unique_ptr<std::FILE, closer> file_;
  std::uint64_t bytes_ = 0;
};

}  // namespace veltra::host
