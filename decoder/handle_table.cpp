#include "decoder/handle_table.h"

#include <memory>

namespace open_decoder {

// Few handles live at a time, so a list is searched as fast as anything else.
struct handle_table::entry {
  const void* handle = nullptr;
  open_decoder::decoder decoder;
  entry* next = nullptr;
};

decoder* handle_table::add(const void* handle) {
  auto made = std::make_unique<entry>();
  made->handle = handle;
  const std::lock_guard lock(mutex_);
  remove_locked(handle);
  made->next = first_;
  first_ = made.release();
  return &first_->decoder;
}

void handle_table::remove(const void* handle) {
  const std::lock_guard lock(mutex_);
  remove_locked(handle);
}

void handle_table::remove_locked(const void* handle) {
  for (entry** place = &first_; *place != nullptr; place = &(*place)->next) {
    if ((*place)->handle == handle) {
      const std::unique_ptr<entry> removed(*place);
      *place = removed->next;
      return;
    }
  }
}

}  // namespace open_decoder
