// trace_feed.h - a trace that the plug-in reads out of a pipe.
#pragma once

#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "host/source/trace_reader.h"
#include "platform/byte_stream.h"

namespace veltra::host {

// Hands the bytes of a reader on through a pipe: nothing is copied to a disk, and memory is bounded
// by the pipe and `first`. The thread that constructs it also calls failure() and destroys it.
class trace_feed {
 public:
  // `first`: bytes that were taken from `reader` before. Throws std::system_error, with
  // std::errc::function_not_supported where there is no such pipe.
  trace_feed(std::string first, std::unique_ptr<trace_reader> reader);
  trace_feed(const trace_feed&) = delete;
  trace_feed& operator=(const trace_feed&) = delete;

  // After the plug-in's instance is gone, or it may wait for it forever.
  ~trace_feed();

  // What the plug-in opens. The first call starts the thread: when the run begins, so that the
  // watch for Ctrl-C is there, see platform::interrupt_watch.
  const std::filesystem::path& open();

  // The trace ends here. Any thread.
  void end_early() noexcept { reader_->cancel(); }

  // Why the trace could not be read to its end; null if it could. Once the plug-in has met the
  // end.
  std::exception_ptr failure();

 private:
  void work();

  std::string first_;  // the thread's from open() on
  const std::unique_ptr<trace_reader> reader_;
  platform::pipe_feed pipe_;
  std::exception_ptr failure_;  // the thread's until it is joined
  std::thread thread_;
};

}  // namespace veltra::host
