// source_properties.h - the rules that turn a decoded trace into a packet.
#pragma once

#include <dekodrix/dekodrix.h>
#include <kovax/source.h>

#include <optional>

#include "plugin/trace_db_config.h"

namespace veltra {

// The trace's type by its id; other for a trace without one.
trace_type type_of_trace(const trace_db_config& config, const dekodrix_trace& trace);

// Decides from the trace's bytes and the database what the trace carries, and returns
// the packet, or nothing for a trace that no rule knows; config.index.why_no_packet says why.
// Metadata and sequence number of the packet are not filled. Its payload points into the trace
// where it can, and otherwise, like its format, into `config`: it is valid until the next
// conversion. `trace` stays the caller's. Reads nothing beyond the trace's end. Throws the JSON
// library's type errors for a trace definition that is not what it should be. One thread at a time
// per config.
std::optional<kovax_stream_packet_t> convert_trace(trace_db_config& config,
                                                   const dekodrix_trace& trace);

}  // namespace veltra
