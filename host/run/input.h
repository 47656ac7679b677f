// input.h - what a run reads, and what its failures mean in the input's own words.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "host/output/provenance.h"
#include "host/run/run_options.h"
#include "host/source/run_statistics.h"
#include "host/source/source_session.h"
#include "host/user_error.h"
#include "implementation/json.h"

namespace veltra::host {

class input {
 public:
  virtual ~input() = default;

  // The plug-in's init parameters that belong to the input.
  virtual kovax::json parameters() const = 0;

  // As the user knows it.
  virtual const std::string& name() const = 0;

  // What it is, for the capture.
  virtual provenance origin() const = 0;

  // True for an input without an end of its own: Ctrl-C is how such a run ends, and what
  // was captured before a failure is kept.
  virtual bool is_live() const = 0;

  // A failed run, if the failure is the input's own; `remark` says what became of the
  // capture, with the punctuation in front of it.
  virtual std::optional<user_error> explain_failure(const source_failure& failure,
                                                    std::string_view remark) const = 0;

  // Whether the run may go on later after a failure to open or read the input, and whether
  // it can be opened now.
  virtual bool may_come_back(const source_failure& /*failure*/) const { return false; }
  virtual bool is_there() const { return true; }

  // Ends the input here, for a run that is stopped and may wait for it. Any thread.
  virtual void end_early() const noexcept {}
  // Why what the plug-in took for the end of the input was not; null if it was. After a run that
  // met the end.
  virtual std::exception_ptr reading_failure() const { return nullptr; }

  // A run without content.
  virtual user_error explain_nothing(const run_statistics& statistics,
                                     const database_options& database) const = 0;
};

// A recorded trace.
class file_input : public input {
 public:
  // `path`: UTF-8.
  explicit file_input(std::string path) : path_(std::move(path)) {}

  kovax::json parameters() const override;
  const std::string& name() const override { return path_; }
  provenance origin() const override;
  bool is_live() const override { return false; }
  std::optional<user_error> explain_failure(const source_failure& failure,
                                            std::string_view remark) const override;
  user_error explain_nothing(const run_statistics& statistics,
                             const database_options& database) const override;

 private:
  const std::string path_;
};

// A modem behind a serial port.
class serial_input : public input {
 public:
  explicit serial_input(line_options line) : line_(std::move(line)), device_(line_.port) {}

  kovax::json parameters() const override;
  const std::string& name() const override { return line_.port; }
  provenance origin() const override;
  bool is_live() const override { return true; }
  bool may_come_back(const source_failure& failure) const override;
  bool is_there() const override;
  std::optional<user_error> explain_failure(const source_failure& failure,
                                            std::string_view remark) const override;
  user_error explain_nothing(const run_statistics& statistics,
                             const database_options& database) const override;

 private:
  const line_options line_;
  // The port's name to open: with `follows_device`, one that it keeps, found as soon as
  // the port is there.
  mutable std::string device_;
};

// The port in the name of a file: "ttyUSB0" of /dev/ttyUSB0.
std::string port_name_part(const std::string& port);

// The name of an output of this port that began at `seconds_since_epoch` (UTC), such
// as capture-ttyUSB0-20240131T120000Z.pcapng. Those of one second share it: see
// name_without_file().
std::string default_capture_name(const std::string& port, std::int64_t seconds_since_epoch,
                                 const std::string& extension);

// The same for a series of files, whose names get number and time: capture-ttyUSB0.pcapng.
std::string default_series_name(const std::string& port, const std::string& extension);

// `name`, or the first of NAME-2.EXTENSION, NAME-3.EXTENSION and so on under which
// there is nothing. UTF-8; looks into the file system.
std::string name_without_file(const std::string& name);

}  // namespace veltra::host
