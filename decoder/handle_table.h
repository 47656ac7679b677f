// handle_table.h - the decoders behind the handles of the C interface.
#pragma once

#include <map>
#include <mutex>

#include "decoder/decoder.h"

namespace open_decoder {

// Owns the decoder of every handle. A handle is a small heap object that its user
// may delete without a call to this library. Its decoder then stays here until the
// heap returns the same address for a new handle, which proves that the old one is
// gone. So such decoders do not accumulate, and none is destroyed too early.
//
// Any thread.
class handle_table {
 public:
  // Makes a decoder for the handle at `handle`, in place of that of an earlier
  // handle at the same address. The decoder lives until remove() or the next
  // add() for that address. Throws std::bad_alloc.
  decoder* add(const void* handle) {
    const std::lock_guard lock(mutex_);
    decoders_.erase(handle);
    return &decoders_[handle];
  }

  // Destroys the decoder of `handle`, if there is one.
  void remove(const void* handle) {
    const std::lock_guard lock(mutex_);
    decoders_.erase(handle);
  }

 private:
  std::mutex mutex_;
  std::map<const void*, decoder> decoders_;
};

}  // namespace open_decoder
