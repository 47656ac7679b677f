// handle_table.h - the decoders behind the handles of the C interface.
#pragma once

#include <mutex>

#include "decoder/decoder.h"

namespace open_decoder {

// Owns the decoder of every handle. A handle is a small heap object that its user
// may give back by itself, without a word to us: the decoder then stays here
// until the heap hands out the same address for a new handle, which proves that
// the old one is gone. So such decoders do not pile up, and none is freed too soon.
//
// Meant as a global that is never torn down: handles may outlive the static objects
// of this library when a process ends. What is still in the table then is left to
// the system.
//
// Any thread.
class handle_table {
 public:
  handle_table() = default;
  handle_table(const handle_table&) = delete;
  handle_table& operator=(const handle_table&) = delete;

  // Makes a decoder for the handle at `handle`, in place of that of an earlier
  // handle at the same address. The decoder stays until remove() or the next
  // add() for that address. Throws std::bad_alloc.
  decoder* add(const void* handle);

  // Destroys the decoder of `handle`.
  void remove(const void* handle);

 private:
  struct entry;
  void remove_locked(const void* handle);

  std::mutex mutex_;
  entry* first_ = nullptr;
};

}  // namespace open_decoder
