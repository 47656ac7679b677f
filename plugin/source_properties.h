// source_properties.h - the rules that turn a decoded trace into a packet.
#pragma once

#include <dekodrix/dekodrix.h>
#include <kovax/source.h>

#include <functional>

#include "plugin/trace_db_config.h"

namespace veltra {

// Takes one packet. Its pointers are valid during the call; metadata and
// sequence number are not filled.
using packet_sink = std::function<void(const kovax_stream_packet_t&)>;

// Decides from the trace's bytes and the database what the trace carries, and
// calls `sink` once with the packet, or not at all for a trace that no rule
// knows. Payloads point into the trace where they can. `trace` stays the
// caller's. Reads nothing beyond the trace's end.
// Throws what the sink throws, and the JSON library's type errors for a trace
// definition that is not what it should be. One thread at a time per config.
void convert_trace(trace_db_config& config, const dekodrix_trace& trace, const packet_sink& sink);

}  // namespace veltra
