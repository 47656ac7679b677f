// summary_file.h - where lines about runs go.
#pragma once

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/file.h"

namespace veltra::host {

// Standard output ("-") or a file, which is appended to: what was there stays, and each line
// is in the file as soon as it is written. Several processes may write to one file. Any thread.
class summary_file {
 public:
  // `name`: UTF-8; empty: nothing is written. Throws user_error (output_failed).
  explicit summary_file(const std::string& name);

  bool is_wanted() const { return !name_.empty(); }

  // A whole line. Throws user_error (output_failed).
  void write(std::string_view line);

 private:
  const std::string name_;
  std::mutex mutex_;
  platform::owned_file file_;  // unless it is standard output
};

}  // namespace veltra::host
