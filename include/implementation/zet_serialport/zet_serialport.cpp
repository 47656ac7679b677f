#include "implementation/zet_serialport/zet_serialport.h"

#include <algorithm>
#include <utility>

#include "implementation/contract.h"
#include "implementation/zet_serialport/win32/zet_serialport_win32.h"
#include "platform/thread.h"

namespace zet_serialport_lib {

namespace {

using steady = std::chrono::steady_clock;

// After a read of so many bytes the worker goes on: a fast line must not fill the driver's
// queue meanwhile.
constexpr std::size_t many_bytes = 2048;

steady::time_point deadline_after(std::chrono::milliseconds timeout) {
  const auto now = steady::now();
  if (timeout.count() <= 0) return now;
  const auto max_timeout =
      std::chrono::floor<std::chrono::milliseconds>(steady::time_point::max() - now);
  return timeout >= max_timeout ? steady::time_point::max() : now + timeout;
}

}  // namespace

// How the opener learns that the rx worker runs.
struct zet_serialport::start_signal {
  std::mutex mutex;
  std::condition_variable condition;
  bool started = false;
};

zet_serialport::zet_serialport(std::string port_name)
    : port_name_(std::move(port_name)), transport_(std::make_unique<zet_serialport_win32>()) {}

zet_serialport::~zet_serialport() {
  close();
}

void zet_serialport::open(const std::optional<zet_serialport_settings>& settings, bool purge,
                          bool /*flag*/) {
  const std::lock_guard lifecycle(lifecycle_mutex_);
  if (transport_->is_open()) return;
  transport_->open(port_name_);
  closed_ = false;
  {
    const std::lock_guard lock(rx_mutex_);
    is_closing_ = false;
  }
  transport_->reset_events();
  cancelled_ = false;
  if (settings) transport_->apply(*settings);
  if (purge) transport_->purge();
  start_rx_worker();
}

void zet_serialport::start_rx_worker() {
  KOVAX_CONTRACT_TEXT(!rx_worker_.joinable(), "!rx_worker.joinable()");
  start_signal signal;
  rx_worker_ = platform::start_thread(
      [this, port = transport_->port(), &signal] { run_rx_worker(port, signal); });
  std::unique_lock lock(signal.mutex);
  signal.condition.wait(lock, [&signal] { return signal.started; });
}

void zet_serialport::run_rx_worker(void* port, start_signal& signal) {
  {
    const std::lock_guard lock(signal.mutex);
    signal.started = true;
    // Under the lock: the opener's signal is gone as soon as it can go on.
    signal.condition.notify_all();
  }
  try {
    transport_->receive(port, [this](std::span<const std::uint8_t> bytes) { received(bytes); });
  } catch (const zet_serialport_exception& error) {
    // The error before the flag: a read that sees the port closed sees why.
    const std::lock_guard lock(rx_mutex_);
    last_error_ = error.code();
    closed_ = true;
    rx_condition_.notify_all();
  } catch (...) {
    KOVAX_CONTRACT_TEXT(false, "false");
  }
}

void zet_serialport::received(std::span<const std::uint8_t> bytes) {
  std::unique_lock lock(rx_mutex_);
  buffer_.append(bytes);
  if (buffer_.size() >= wanted_) {
    wanted_ = std::numeric_limits<std::size_t>::max();
    // A read that is woken under the mutex would only wait for it.
    lock.unlock();
    rx_condition_.notify_all();
    lock.lock();
  }
  // A single byte is what a read on an empty line ends with; more may have come with it.
  if (rest_.count() == 0 || bytes.size() == 1 || bytes.size() >= many_bytes) return;
  closing_condition_.wait_for(lock, rest_, [this] { return is_closing_; });
}

void zet_serialport::throw_if_unreadable() const {
  if (!transport_->is_open() || closed_) {
    throw zet_serialport_exception(ERR_SERIALPORT_OPEN, last_error_, "port closed");
  }
  if (cancelled_) {
    throw zet_serialport_exception(ERR_OPERATION_CANCELLED, last_error_, "operation cancelled");
  }
}

void zet_serialport::read(std::string& output, std::size_t count,
                          std::optional<std::chrono::milliseconds> timeout) {
  std::optional<steady::time_point> deadline;
  // From here to the wait the mutex is held: closing, cancelling and appending
  // take it before notifying, so no notification falls between test and wait.
  std::unique_lock lock(rx_mutex_);
  for (;;) {
    throw_if_unreadable();
    if (buffer_.size() >= count) return buffer_.take(count, output);
    wanted_ = std::min(wanted_, count);
    if (!timeout) {
      rx_condition_.wait(lock);
      continue;
    }
    if (!deadline) deadline = deadline_after(*timeout);
    if (rx_condition_.wait_until(lock, *deadline) == std::cv_status::timeout && !closed_ &&
        !cancelled_ && buffer_.size() < count) {
      throw zet_serialport_exception(ERR_TIMEOUT, last_error_, "read timeout");
    }
  }
}

std::size_t zet_serialport::take_received(std::string& output, std::size_t max_count) {
  const std::lock_guard lock(rx_mutex_);
  const std::size_t count = std::min(buffer_.size(), max_count);
  buffer_.take(count, output);
  return count;
}

void zet_serialport::cancel() {
  const std::lock_guard lock(rx_mutex_);
  cancelled_ = true;
  rx_condition_.notify_all();
}

void zet_serialport::close(bool take_queued) {
  const std::lock_guard lifecycle(lifecycle_mutex_);
  if (!transport_->is_open()) return;
  {
    // Before the port counts as closed, for reads see that before the worker has
    // ended. A worker that ended by itself has left its own reason.
    const std::lock_guard lock(rx_mutex_);
    is_closing_ = true;
    closing_condition_.notify_all();
    if (rx_worker_.joinable() && !closed_) {
      last_error_ = std::make_error_code(std::errc::operation_canceled);
    }
  }
  // The device itself is closed only when `port` dies, after the join: a worker
  // inside a call must never meet a handle that is closed or, worse, reused.
  const auto port = transport_->release();
  transport_->abort_receive(take_queued);
  if (rx_worker_.joinable()) rx_worker_.join();
  const std::lock_guard lock(rx_mutex_);
  closed_ = true;
  rx_condition_.notify_all();
}

bool zet_serialport::is_open() const {
  return transport_->is_open();
}

std::size_t zet_serialport::bytes_available() const {
  const std::lock_guard lock(rx_mutex_);
  return buffer_.size();
}

}  // namespace zet_serialport_lib
