// conversion_fixture.h - one trace in, at most one packet out.
#pragma once

#include <optional>
#include <string>

#include "tests/support/source_fixture.h"

// The packet that the tests look at, or what means none.
class conversion_fixture : public test_support::source_fixture {
 protected:
  using json = kovax::json;

  json database = test_support::conversion_database();

  std::optional<test_support::received_packet> packet_of(const std::string& trace) {
    auto packets = convert(database, {trace});
    EXPECT_LE(packets.size(), 1U) << "a trace makes one packet at most";
    if (packets.empty()) return std::nullopt;
    return packets.front();
  }

  // "layer|category|payload", or "nothing".
  std::string conversion_of(const std::string& trace) {
    const auto packet = packet_of(trace);
    if (!packet) return "nothing";
    return packet->format + "|" + packet->category + "|" + packet->data;
  }
};
