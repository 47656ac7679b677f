// trace_reader.h - a trace's bytes, wherever they are.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace veltra::host {

// Reads bytes from the first to the last. One thread, except for cancel(). What it throws is a
// user_error (bad_input).
class trace_reader {
 public:
  trace_reader() = default;
  trace_reader(const trace_reader&) = delete;
  trace_reader& operator=(const trace_reader&) = delete;
  virtual ~trace_reader() = default;

  // Waits for bytes and returns how many are in `into`, which is not empty; 0 at the end and after
  // cancel().
  virtual std::size_t read(std::span<char> into) = 0;

  // Ends the waiting, for good. Any thread.
  virtual void cancel() noexcept = 0;
};

// How a trace's name says that it is compressed.
enum class compression { none, gzip, zstd };
compression compression_of(const std::string& name);

// Whether the plug-in cannot read `name` itself: standard input ("-"), a named pipe, or a
// compressed file (".gz", ".zst").
bool needs_reader(const std::string& name);

// Of the files one behind the other, each decompressed if its name says so; "-" is standard input.
// Those of zstd are read by the program zstd. Names are UTF-8. A file is opened when it is its
// turn.
std::unique_ptr<trace_reader> make_trace_reader(std::vector<std::string> names);

}  // namespace veltra::host
