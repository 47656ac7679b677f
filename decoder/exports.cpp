// exports.cpp - the bridge from the C interface to the decoder.
//
// No exception leaves it. The only failure is a lack of memory: then a handle is
// null, a configuration is refused, or appended bytes are missing from the stream,
// which shows as a gap in the sequence numbers of its frames.
#include <dekodrix/dekodrix.h>
#include <dekodrix/statistics.h>

#include <cstddef>
#include <new>

#include "decoder/decoder.h"
#include "decoder/handle_table.h"

// One heap object of 8 bytes, which its user may delete without dekodrix_delete().
struct dekodrix {
  alignas(8) open_decoder::decoder* implementation;
};
static_assert(sizeof(dekodrix) == 8);

namespace {

// Made at first use and never destroyed: handles may outlive the static objects of
// this library when a process ends.
open_decoder::handle_table& handles() {
  alignas(open_decoder::handle_table) static std::byte storage[sizeof(open_decoder::handle_table)];
  static auto& table = *new (storage) open_decoder::handle_table;
  return table;
}

}  // namespace

extern "C" {

dekodrix* dekodrix_new(void) {
  dekodrix* handle = nullptr;
  try {
    handle = new dekodrix{nullptr};
    handle->implementation = handles().add(handle);
    return handle;
  } catch (...) {
    delete handle;
    return nullptr;
  }
}

void dekodrix_delete(dekodrix* decoder) {
  if (decoder != nullptr) {
    handles().remove(decoder);
    delete decoder;
  }
}

void dekodrix_set_timebase(dekodrix* decoder, uint64_t base, bool flag) {
  decoder->implementation->set_timebase(flag ? base : 0);
}

void dekodrix_reset(dekodrix* decoder) {
  decoder->implementation->reset();
}

bool dekodrix_set_configuration_json(dekodrix* decoder, const char* text, size_t length) {
  try {
    return decoder->implementation->set_configuration({text, length});
  } catch (...) {
    return false;
  }
}

void dekodrix_append_buffer(dekodrix* decoder, const uint8_t* bytes, size_t count) {
  try {
    decoder->implementation->append({bytes, count});
  } catch (...) {
    // See the top of the file.
  }
}

void dekodrix_parse(dekodrix* decoder) {
  decoder->implementation->parse();
}

uint64_t dekodrix_get_trace_count(dekodrix* decoder) {
  return decoder->implementation->trace_count();
}

dekodrix_trace* dekodrix_get_trace(dekodrix* decoder) {
  return decoder->implementation->take_trace().release();
}

void dekodrix_get_statistics(const dekodrix* decoder, dekodrix_statistics* statistics) {
  *statistics = decoder->implementation->statistics();
}

}  // extern "C"
