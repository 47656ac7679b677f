#include "host/batch/worker_processes.h"

#include <array>
#include <memory>

namespace veltra::host {

std::optional<worker_processes::ending> worker_processes::run(
    const std::vector<std::string>& arguments) {
  std::unique_ptr<platform::process> worker;
  {
    const std::lock_guard lock(mutex_);
    if (is_stopped_) return std::nullopt;
    worker = std::make_unique<platform::process>(program_, arguments);
    running_.insert(worker.get());
  }
  const auto forget = [this](platform::process* each) {
    const std::lock_guard lock(mutex_);
    running_.erase(each);
  };
  ending result;
  {
    const std::unique_ptr<platform::process, decltype(forget)> registered(worker.get(), forget);
    std::array<char, 4096> block;
    while (const std::size_t count = worker->read(block)) result.output.append(block.data(), count);
  }
  result.end = worker->wait();
  return result;
}

void worker_processes::stop() noexcept {
  const std::lock_guard lock(mutex_);
  is_stopped_ = true;
  for (platform::process* const each : running_) each->terminate();
}

bool worker_processes::is_stopped() {
  const std::lock_guard lock(mutex_);
  return is_stopped_;
}

}  // namespace veltra::host
