#include "tests/unit/implementation/zet_serialport/scripted_serial_api.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace serial_test {

namespace serial = platform::serial;

namespace {
thread_local DWORD last_error = 0;
constexpr DWORD invalid_handle = 6;
}  // namespace

scripted_serial_api& scripted_serial_api::instance() {
  static scripted_serial_api script;
  return script;
}

void scripted_serial_api::restart() {
  const std::lock_guard lock(mutex_);
  last_error = 0;
  events_.clear();
  ports_.clear();
  history_.clear();
  failures_.clear();
  wait_result_.reset();
  named_events_.reset();
  foreign_exception_ = false;
  pending_first_ = false;
  never_silent_ = false;
  incoming_.clear();
  on_cancel_.clear();
  pending_.reset();
  event_names_.clear();
  opened_device_.clear();
  create_file_arguments_.clear();
  reported_ = {};
  assigned_ = {};
  purge_flags_ = 0;
  read_lengths_.clear();
  misuses_ = 0;
}

void scripted_serial_api::fail(operation failing, DWORD error) {
  const std::lock_guard lock(mutex_);
  failures_[failing] = error;
  changed_.notify_all();
}

void scripted_serial_api::pass(operation passing) {
  const std::lock_guard lock(mutex_);
  failures_.erase(passing);
  if (passing == operation::wait) wait_result_.reset();
}

void scripted_serial_api::give_wait_result(DWORD result, DWORD error) {
  const std::lock_guard lock(mutex_);
  wait_result_ = {result, error};
  changed_.notify_all();
}

void scripted_serial_api::give_named_events(HANDLE handle) {
  const std::lock_guard lock(mutex_);
  named_events_ = handle;
}

void scripted_serial_api::throw_foreign_exception() {
  const std::lock_guard lock(mutex_);
  foreign_exception_ = true;
}

void scripted_serial_api::deliver(const std::string& bytes, bool pending_first) {
  const std::lock_guard lock(mutex_);
  incoming_.insert(incoming_.end(), bytes.begin(), bytes.end());
  pending_first_ = pending_first;
  changed_.notify_all();
}

void scripted_serial_api::never_fall_silent() {
  const std::lock_guard lock(mutex_);
  never_silent_ = true;
  changed_.notify_all();
}

void scripted_serial_api::set_comm_state(const DCB& dcb) {
  const std::lock_guard lock(mutex_);
  reported_ = dcb;
}

void scripted_serial_api::deliver_on_cancel(const std::string& bytes) {
  const std::lock_guard lock(mutex_);
  on_cancel_ = bytes;
}

bool scripted_serial_api::await_calls(operation awaited, int count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::hours(1), [&] {
    return std::count(history_.begin(), history_.end(), awaited) >= count;
  });
}

int scripted_serial_api::calls(operation counted) const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(std::count(history_.begin(), history_.end(), counted));
}

std::vector<operation> scripted_serial_api::history() const {
  const std::lock_guard lock(mutex_);
  return history_;
}

std::vector<std::string> scripted_serial_api::event_names() const {
  const std::lock_guard lock(mutex_);
  return event_names_;
}

std::string scripted_serial_api::opened_device() const {
  const std::lock_guard lock(mutex_);
  return opened_device_;
}

std::vector<DWORD> scripted_serial_api::create_file_arguments() const {
  const std::lock_guard lock(mutex_);
  return create_file_arguments_;
}

DCB scripted_serial_api::assigned_settings() const {
  const std::lock_guard lock(mutex_);
  return assigned_;
}

DWORD scripted_serial_api::purge_flags() const {
  const std::lock_guard lock(mutex_);
  return purge_flags_;
}

std::vector<DWORD> scripted_serial_api::read_lengths() const {
  const std::lock_guard lock(mutex_);
  return read_lengths_;
}

int scripted_serial_api::open_events() const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(events_.size());
}

int scripted_serial_api::open_ports() const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(
      std::count_if(ports_.begin(), ports_.end(), [](const auto& port) { return port.second; }));
}

int scripted_serial_api::misuses() const {
  const std::lock_guard lock(mutex_);
  return misuses_;
}

bool scripted_serial_api::enter(operation entered) {
  history_.push_back(entered);
  changed_.notify_all();
  const auto failure = failures_.find(entered);
  if (failure == failures_.end()) return true;
  last_error = failure->second;
  return false;
}

bool scripted_serial_api::is_open_port(HANDLE port) {
  const auto found = ports_.find(port);
  if (found != ports_.end() && found->second) return true;
  ++misuses_;
  last_error = invalid_handle;
  return false;
}

DWORD scripted_serial_api::take(void* buffer, DWORD count) {
  if (never_silent_) {
    std::fill_n(static_cast<char*>(buffer), count, '\0');
    return count;
  }
  const auto taken = std::min<std::size_t>(count, incoming_.size());
  const auto end = incoming_.begin() + static_cast<std::ptrdiff_t>(taken);
  std::copy(incoming_.begin(), end, static_cast<char*>(buffer));
  incoming_.erase(incoming_.begin(), end);
  return static_cast<DWORD>(taken);
}

HANDLE scripted_serial_api::next_handle() {
  last_handle_ += 8;
  return reinterpret_cast<HANDLE>(last_handle_);
}

HANDLE scripted_serial_api::create_event(BOOL manual_reset, BOOL initial_state, const char* name) {
  const std::lock_guard lock(mutex_);
  if (manual_reset != serial::TRUE || initial_state != serial::FALSE) ++misuses_;
  event_names_.emplace_back(name == nullptr ? "" : name);
  if (!enter(operation::create_event)) return nullptr;
  if (name != nullptr && named_events_) return *named_events_;
  const HANDLE event = next_handle();
  events_[event] = false;
  return event;
}

BOOL scripted_serial_api::change_event(HANDLE event, bool set) {
  const std::lock_guard lock(mutex_);
  if (!enter(set ? operation::set_event : operation::reset_event)) return serial::FALSE;
  const auto found = events_.find(event);
  if (found == events_.end()) {
    ++misuses_;
    return serial::FALSE;
  }
  found->second = set;
  changed_.notify_all();
  return serial::TRUE;
}

HANDLE scripted_serial_api::create_file(const char* path, const std::vector<DWORD>& arguments) {
  const std::lock_guard lock(mutex_);
  opened_device_ = path;
  create_file_arguments_ = arguments;
  if (!enter(operation::create_file)) return serial::INVALID_HANDLE_VALUE;
  const HANDLE port = next_handle();
  ports_[port] = true;
  return port;
}

BOOL scripted_serial_api::get_settings(HANDLE port, DCB* dcb) {
  const std::lock_guard lock(mutex_);
  if (!enter(operation::get_comm_state) || !is_open_port(port)) return serial::FALSE;
  *dcb = reported_;
  return serial::TRUE;
}

BOOL scripted_serial_api::set_settings(HANDLE port, const DCB* dcb) {
  const std::lock_guard lock(mutex_);
  if (!enter(operation::set_comm_state) || !is_open_port(port)) return serial::FALSE;
  assigned_ = *dcb;
  return serial::TRUE;
}

BOOL scripted_serial_api::purge(HANDLE port, DWORD flags) {
  const std::lock_guard lock(mutex_);
  purge_flags_ = flags;
  return enter(operation::purge_comm) && is_open_port(port) ? serial::TRUE : serial::FALSE;
}

BOOL scripted_serial_api::status(HANDLE port, DWORD* queued) {
  const std::lock_guard lock(mutex_);
  if (foreign_exception_) throw std::logic_error("not a serial port's exception");
  if (!enter(operation::clear_comm_error) || !is_open_port(port)) return serial::FALSE;
  *queued = never_silent_ ? 64 : static_cast<DWORD>(incoming_.size());
  return serial::TRUE;
}

BOOL scripted_serial_api::read(HANDLE port, void* buffer, DWORD count, DWORD* transferred,
                               OVERLAPPED* overlapped) {
  const std::lock_guard lock(mutex_);
  read_lengths_.push_back(count);
  if (!enter(operation::read_file) || !is_open_port(port)) return serial::FALSE;
  if (events_.count(overlapped->hEvent) == 0 || overlapped->Internal != 0 ||
      overlapped->InternalHigh != 0 || overlapped->Offset != 0 || overlapped->OffsetHigh != 0) {
    ++misuses_;
  }
  if (never_silent_ || (!incoming_.empty() && !pending_first_)) {
    *transferred = take(buffer, count);
    return serial::TRUE;
  }
  pending_ = {buffer, count, overlapped};
  last_error = serial::ERROR_IO_PENDING;
  return serial::FALSE;
}

DWORD scripted_serial_api::wait(const HANDLE* handles, DWORD count, bool forever) {
  std::unique_lock lock(mutex_);
  if (!forever || count != 2) ++misuses_;
  enter(operation::wait);
  for (;;) {
    if (wait_result_) {
      last_error = wait_result_->second;
      return wait_result_->first;
    }
    if (pending_ && pending_->overlapped->hEvent == handles[0] &&
        (!incoming_.empty() || failures_.count(operation::get_overlapped_result) != 0)) {
      pending_->overlapped->InternalHigh = take(pending_->buffer, pending_->count);
      pending_.reset();
      return 0;
    }
    for (DWORD i = 0; i < count; ++i) {
      const auto found = events_.find(handles[i]);
      if (found == events_.end()) ++misuses_;
      if (found != events_.end() && found->second) return i;
    }
    changed_.wait(lock);
  }
}

BOOL scripted_serial_api::result(HANDLE port, OVERLAPPED* overlapped, DWORD* transferred) {
  const std::lock_guard lock(mutex_);
  if (!enter(operation::get_overlapped_result) || !is_open_port(port)) return serial::FALSE;
  if (overlapped->InternalHigh == 0) return serial::FALSE;
  *transferred = static_cast<DWORD>(overlapped->InternalHigh);
  return serial::TRUE;
}

BOOL scripted_serial_api::cancel(HANDLE port, OVERLAPPED* overlapped) {
  const std::lock_guard lock(mutex_);
  if (!enter(operation::cancel_io) || !is_open_port(port)) return serial::FALSE;
  if (!pending_ || pending_->overlapped != overlapped) return serial::FALSE;
  if (!on_cancel_.empty()) {
    incoming_.insert(incoming_.end(), on_cancel_.begin(), on_cancel_.end());
    overlapped->InternalHigh = take(pending_->buffer, pending_->count);
  }
  pending_.reset();
  return serial::TRUE;
}

BOOL scripted_serial_api::close(HANDLE handle) {
  const std::lock_guard lock(mutex_);
  if (events_.erase(handle) == 1) {
    return enter(operation::close_event) ? serial::TRUE : serial::FALSE;
  }
  // A read still under way would leave the system with a dead buffer.
  if (pending_) ++misuses_;
  if (!is_open_port(handle)) return serial::FALSE;
  ports_[handle] = false;
  return enter(operation::close_port) ? serial::TRUE : serial::FALSE;
}

}  // namespace serial_test

namespace platform::serial {

namespace {
serial_test::scripted_serial_api& script() {
  return serial_test::scripted_serial_api::instance();
}
}  // namespace

DWORD GetLastError() {
  return serial_test::last_error;
}

HANDLE CreateEventA(void* /*security*/, BOOL manual_reset, BOOL initial_state, const char* name) {
  return script().create_event(manual_reset, initial_state, name);
}

BOOL SetEvent(HANDLE event) {
  return script().change_event(event, true);
}

BOOL ResetEvent(HANDLE event) {
  return script().change_event(event, false);
}

HANDLE CreateFileA(const char* path, DWORD access, DWORD share_mode, void* security,
                   DWORD disposition, DWORD flags, HANDLE template_file) {
  return script().create_file(path, {access, share_mode, security == nullptr ? 0U : 1U, disposition,
                                     flags, template_file == nullptr ? 0U : 1U});
}

BOOL GetCommState(HANDLE port, DCB* settings) {
  return script().get_settings(port, settings);
}

BOOL SetCommState(HANDLE port, DCB* settings) {
  return script().set_settings(port, settings);
}

BOOL PurgeComm(HANDLE port, DWORD flags) {
  return script().purge(port, flags);
}

BOOL ClearCommError(HANDLE port, DWORD* /*errors*/, COMSTAT* status) {
  return script().status(port, &status->cbInQue);
}

BOOL ReadFile(HANDLE port, void* buffer, DWORD count, DWORD* transferred, OVERLAPPED* overlapped) {
  return script().read(port, buffer, count, transferred, overlapped);
}

BOOL GetOverlappedResult(HANDLE port, OVERLAPPED* overlapped, DWORD* transferred, BOOL /*wait*/) {
  return script().result(port, overlapped, transferred);
}

BOOL CancelIoEx(HANDLE port, OVERLAPPED* overlapped) {
  return script().cancel(port, overlapped);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* events, BOOL wait_all, DWORD milliseconds) {
  return script().wait(events, count, wait_all == FALSE && milliseconds == INFINITE);
}

BOOL CloseHandle(HANDLE handle) {
  return script().close(handle);
}

}  // namespace platform::serial
