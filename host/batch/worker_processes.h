// worker_processes.h - copies of this program that each do one piece of work.
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/process.h"

namespace veltra::host {

// A process for each piece, because a database may make the plug-in abort, and a trace may need
// more memory than there is. Any thread.
class worker_processes {
 public:
  explicit worker_processes(std::filesystem::path program) : program_(std::move(program)) {}

  struct ending {
    std::string output;  // standard output
    platform::process::ending end;
  };

  // Runs the program and waits for its end; nothing if it was not begun because of stop(). Throws
  // std::system_error.
  std::optional<ending> run(const std::vector<std::string>& arguments);

  // Asks those that run to end, and begins no more.
  void stop() noexcept;
  bool is_stopped();

 private:
  const std::filesystem::path program_;
  std::mutex mutex_;  // guards what follows
  bool is_stopped_ = false;
  std::set<platform::process*> running_;
};

}  // namespace veltra::host
