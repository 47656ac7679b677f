// radio_connections.h - when the modem had a connection to the network.
#pragma once

#include <cstdint>
#include <vector>

#include "host/report/message.h"

namespace veltra::report {

// From a connection's setup, resume or re-establishment to its release or loss (TS 36.331, 5.3).
struct radio_connection {
  std::uint64_t begin = 0;  // nanoseconds
  std::uint64_t end = 0;
};

std::vector<radio_connection> find_radio_connections(const std::vector<message>& messages);

}  // namespace veltra::report
