#include "platform/serial_api.h"

#include <array>
#include <cerrno>
#include <memory>
#include <span>

#include "platform/posix/serial_handles.h"
#include "platform/posix/serial_wait.h"

namespace platform::serial {

namespace {

BOOL succeed_or(DWORD error) {
  if (error == 0) return TRUE;
  set_last_error(error);
  return FALSE;
}

}  // namespace

HANDLE CreateEventA(void* /*security*/, BOOL manual_reset, BOOL initial_state,
                    const char* /*name*/) {
  if (manual_reset == FALSE || initial_state != FALSE) {
    set_last_error(EINVAL);
    return nullptr;
  }
  return add_handle(std::make_shared<event>());
}

BOOL SetEvent(HANDLE handle) {
  const auto object = find_event(handle);
  if (!object) return succeed_or(EBADF);
  object->set();
  return TRUE;
}

BOOL ResetEvent(HANDLE handle) {
  const auto object = find_event(handle);
  if (!object) return succeed_or(EBADF);
  object->reset();
  return TRUE;
}

HANDLE CreateFileA(const char* path, DWORD access, DWORD share_mode, void* /*security*/,
                   DWORD disposition, DWORD flags, HANDLE /*template_file*/) {
  if (access != (GENERIC_READ | GENERIC_WRITE) || share_mode != 0 || disposition != OPEN_EXISTING ||
      flags != FILE_FLAG_OVERLAPPED) {
    set_last_error(EINVAL);
    return INVALID_HANDLE_VALUE;
  }
  DWORD error = 0;
  auto opened = port::open(path, error);
  if (!opened) {
    set_last_error(error);
    return INVALID_HANDLE_VALUE;
  }
  return add_handle(std::move(opened));
}

BOOL GetCommState(HANDLE handle, DCB* settings) {
  const auto object = find_port(handle);
  return succeed_or(object ? object->get_settings(*settings) : EBADF);
}

BOOL SetCommState(HANDLE handle, DCB* settings) {
  const auto object = find_port(handle);
  return succeed_or(object ? object->set_settings(*settings) : EBADF);
}

BOOL PurgeComm(HANDLE handle, DWORD flags) {
  const auto object = find_port(handle);
  return succeed_or(object ? object->purge(flags) : EBADF);
}

BOOL ClearCommError(HANDLE handle, DWORD* errors, COMSTAT* status) {
  if (errors != nullptr) *errors = 0;
  const auto object = find_port(handle);
  return succeed_or(object ? object->get_status(*status) : EBADF);
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* transferred,
              OVERLAPPED* overlapped) {
  const auto object = find_port(handle);
  if (!object) return succeed_or(EBADF);
  auto completion = find_event(overlapped->hEvent);
  if (!completion) return succeed_or(EINVAL);
  const DWORD error = object->start_read(buffer, count, *overlapped, std::move(completion));
  if (error == 0) *transferred = static_cast<DWORD>(overlapped->InternalHigh);
  return succeed_or(error);
}

BOOL GetOverlappedResult(HANDLE handle, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait) {
  const auto object = find_port(handle);
  const auto completion = find_event(overlapped->hEvent);
  if (!object || !completion) return succeed_or(EBADF);
  DWORD error = object->read_result(*overlapped, *transferred);
  if (error == ERROR_IO_INCOMPLETE && wait != FALSE) {
    if (wait_for_any({&completion, 1}) == WAIT_FAILED) return FALSE;
    error = object->read_result(*overlapped, *transferred);
  }
  return succeed_or(error);
}

BOOL CancelIoEx(HANDLE handle, OVERLAPPED* overlapped) {
  const auto object = find_port(handle);
  return succeed_or(object ? object->cancel_read(overlapped) : EBADF);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all,
                             DWORD milliseconds) {
  if (count == 0 || count > max_awaited_events || wait_all != FALSE || milliseconds != INFINITE) {
    set_last_error(EINVAL);
    return WAIT_FAILED;
  }
  std::array<std::shared_ptr<event>, max_awaited_events> events;
  for (DWORD i = 0; i < count; ++i) {
    events[i] = find_event(handles[i]);
    if (!events[i]) {
      set_last_error(EBADF);
      return WAIT_FAILED;
    }
  }
  return wait_for_any({events.data(), count});
}

BOOL CloseHandle(HANDLE handle) {
  return succeed_or(remove_handle(handle) ? 0 : EBADF);
}

}  // namespace platform::serial
