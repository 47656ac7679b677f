#include "host/output/key_log_sink.h"

#include <fmt/format.h>

#include "host/output/packet_selection.h"

namespace veltra::host {

void key_log_sink::write(const packet& packet) {
  if (packet.layer == randbytes_layer) {
    key_log_.add_randbytes(packet.payload);
  } else if (packet.layer == master_layer) {
    key_log_.add_session_master(packet.payload);
  } else {
    return;
  }
  file().write(key_log_.take());
  update_bytes();
}

void key_log_sink::mark_missed(std::uint64_t count) {
  file().write(fmt::format("# {} packets were missed here: the output was too slow\n", count));
}

bool key_log_sink::flush() {
  file().flush();
  return false;
}

void key_log_sink::write_trailer() {
  file().write(key_log_.take_rest());
  update_bytes();
}

}  // namespace veltra::host
