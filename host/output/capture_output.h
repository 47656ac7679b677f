// capture_output.h - the output of a run with the writer that fills it.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "host/output/packet_consumer.h"
#include "host/run/run_options.h"
#include "host/output/output_file.h"

namespace veltra::host {

// One thread, but for hurry(). Failures are user_errors (output_failed). Without commit() or
// rescue() there is no file in the end.
class capture_output {
 public:
  // A live run's output is read while it is written, as far as that is possible; when
  // it takes no more, `on_failure` is called on a thread of its own.
  capture_output(const output_options& options, bool live, std::function<void()> on_failure);

  packet_consumer& writer() { return *writer_; }

  // To be called as the run begins. Who reads a live run's output gets what stands before
  // the first packet now, since that may be hours in coming. A file stays as it is: it is
  // no capture yet.
  void begin();

  // Finishes the capture and puts it under its name.
  void commit();

  // After a failure of commit(), or of a write before it: the same with what is whole,
  // under another name if its own cannot be had. Returns false if that is not possible,
  // and nothing of the capture is left then.
  bool rescue();

  // Somebody waits for the end of the run: a reader that takes nothing more is a failure
  // soon, see output_file. Any thread.
  void hurry() noexcept { file_.hurry(); }

  // Words for the summary; empty if there is nothing to say.
  std::string remarks() const;

  // Where the capture is, for a person to read.
  std::string name() const;

 private:
  bool save_whole_records();

  std::filesystem::path path_;
  const bool streamed_;
  output_file file_;
  std::unique_ptr<packet_consumer> writer_;
  bool cut_ = false;  // the last records could not be written
};

}  // namespace veltra::host
