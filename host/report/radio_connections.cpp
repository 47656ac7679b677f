#include "host/report/radio_connections.h"

namespace veltra::report {

std::vector<radio_connection> find_radio_connections(const std::vector<message>& messages) {
  std::vector<radio_connection> result;
  bool is_connected = false;
  std::uint64_t begin = 0;
  std::uint64_t last = 0;
  const auto close = [&](std::uint64_t end) {
    if (is_connected && end >= begin) result.push_back({begin, end});
    is_connected = false;
  };
  for (const message& each : messages) {
    if (each.clock_restarted) close(last);
    last = each.time;
    switch (each.rrc) {
      case rrc_message::connection_setup_complete:
      case rrc_message::resume_complete:
      case rrc_message::reestablishment_complete:
        if (!is_connected) begin = each.time;
        is_connected = true;
        break;
      case rrc_message::release:
      case rrc_message::reestablishment_request:
      case rrc_message::connection_request:
        close(each.time);
        break;
      default:
        break;
    }
  }
  close(last);
  return result;
}

}  // namespace veltra::report
