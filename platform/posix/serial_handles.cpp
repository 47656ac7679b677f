#include "platform/posix/serial_handles.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <utility>

namespace platform::serial {

namespace {

thread_local DWORD last_error = 0;

// An event or a port, the other one null.
struct object {
  std::shared_ptr<event> as_event;
  std::shared_ptr<port> as_port;
};

struct handle_table {
  std::mutex mutex;
  std::map<HANDLE, object> objects;  // holds no memory while it is empty
  std::uintptr_t last_value = 0;
};

// Never destroyed: handles may be closed by destructors that run at exit. In
// static storage, so that a host that unloads the plug-in gets all memory back.
handle_table& handles() {
  alignas(handle_table) static std::byte storage[sizeof(handle_table)];
  static auto& table = *new (storage) handle_table;
  return table;
}

HANDLE add(object added) {
  auto& table = handles();
  const std::lock_guard lock(table.mutex);
  // Steps of 4, as handle values go; neither null nor INVALID_HANDLE_VALUE.
  table.last_value += 4;
  const HANDLE handle = reinterpret_cast<HANDLE>(table.last_value);
  table.objects.emplace(handle, std::move(added));
  return handle;
}

object find(HANDLE handle) {
  auto& table = handles();
  const std::lock_guard lock(table.mutex);
  const auto found = table.objects.find(handle);
  return found == table.objects.end() ? object{} : found->second;
}

}  // namespace

HANDLE add_handle(std::shared_ptr<event> object) {
  return add({std::move(object), nullptr});
}

HANDLE add_handle(std::shared_ptr<port> object) {
  return add({nullptr, std::move(object)});
}

std::shared_ptr<event> find_event(HANDLE handle) {
  return find(handle).as_event;
}

std::shared_ptr<port> find_port(HANDLE handle) {
  return find(handle).as_port;
}

bool remove_handle(HANDLE handle) {
  object removed;
  {
    auto& table = handles();
    const std::lock_guard lock(table.mutex);
    const auto found = table.objects.find(handle);
    if (found == table.objects.end()) return false;
    removed = std::move(found->second);
    table.objects.erase(found);
  }
  if (removed.as_port) removed.as_port->cancel_read(nullptr);
  return true;
}

void set_last_error(DWORD error) {
  last_error = error;
}

DWORD GetLastError() {
  return last_error;
}

}  // namespace platform::serial
