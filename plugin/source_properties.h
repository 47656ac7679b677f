// source_properties.h - the rules that turn a decoded trace into a packet.
#pragma once

#include <dekodrix/dekodrix.h>
#include <kovax/source.h>

#include <optional>

#include "plugin/trace_db_config.h"

namespace veltra {

// Decides from the trace's bytes and the database what the trace carries, and returns
// the packet, or nothing for a trace that no rule knows. Metadata and sequence number of
// the packet are not filled. Its payload points into the trace where it can, and
// otherwise, like its format, into `config`: it is valid until the next conversion.
// `trace` stays the caller's. Reads nothing beyond the trace's end.
// Throws the JSON library's type errors for a trace definition that is not what it
// should be. One thread at a time per config.
std::optional<kovax_stream_packet_t> convert_trace(trace_db_config& config,
                                                   const dekodrix_trace& trace);

}  // namespace veltra
