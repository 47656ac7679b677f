// foreign_packets.h - what the plug-in's interface shows of a trace.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace veltra::host {

// Runs the plug-in over the file `trace` with the database file `database` and counts its
// packets by layer, as far as it gets. `plugin`: empty for the one that belongs to this
// program. Throws user_error if the plug-in does not start.
std::map<std::string, std::uint64_t> count_packets(const std::string& trace,
                                                   const std::string& database,
                                                   const std::string& plugin);

}  // namespace veltra::host
