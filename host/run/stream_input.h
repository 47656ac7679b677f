// stream_input.h - a trace that the plug-in cannot open as a file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/run/input.h"
#include "host/source/trace_feed.h"

namespace veltra::host {

// The first bytes of a trace, as far as they were needed to find its database.
struct trace_start {
  std::string bytes;
  std::string uuid;  // that the trace names; empty: none was found in these bytes
};

// Reads until the UUID is found, the trace ends, or `max_bytes` are read. Throws as the reader
// does.
trace_start read_start(trace_reader& reader, std::size_t max_bytes);

// Standard input, a named pipe, compressed files, or several files that are one trace. One run
// reads it. One thread, except for end_early().
class stream_input : public input {
 public:
  // `names`: see make_trace_reader(), whose reader comes with what was read of it. Throws as
  // trace_feed does.
  stream_input(std::vector<std::string> names, std::string first,
               std::unique_ptr<trace_reader> reader);

  kovax::json parameters() const override;
  const std::string& name() const override { return name_; }
  provenance origin() const override;
  bool is_live() const override { return false; }
  void end_early() const noexcept override { feed_->end_early(); }
  std::exception_ptr reading_failure() const override { return feed_->failure(); }
  std::optional<user_error> explain_failure(const source_failure& failure,
                                            std::string_view remark) const override;
  user_error explain_nothing(const run_statistics& statistics,
                             const database_options& database) const override;

 private:
  const std::vector<std::string> names_;
  const std::string name_;
  const std::unique_ptr<trace_feed> feed_;
};

}  // namespace veltra::host
