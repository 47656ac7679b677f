// conversion_index.h - the tables that the conversion of traces looks things up
// in, built once when a database has been processed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "implementation/json_fwd.h"

namespace veltra {

struct trace_db_config;
struct type_descriptor;

// The trace types that have conversion rules.
enum class trace_type : std::uint8_t { other, peer_dump, formatted };

// Why a trace made no packet.
enum class no_packet_reason : std::uint8_t {
  none,
  no_content,            // not longer than its trace id
  types_are_off,         // the database does not map types by id
  type_without_rule,     // no condition holds, or that of another type
  unknown_peer_layer,    // not in "peer_buffer_layers"
  unknown_peer_buffer,   // not in "peer_buffers", or without its members
  message_without_rule,  // a peer buffer's type that is neither NAS nor RRC
  unknown_trace,         // no definition in "traces", or without its members
  format_without_rule,   // neither an AT command nor the report of dropped traces
};

// What a buffer's name says about the traces in it.
struct buffer_traits {
  enum class rule : std::uint8_t { none, network, tls_handshake_randbytes, tls_session_master };

  rule payload = rule::none;  // by a part of the name; the first that fits
  bool at_string = false;     // the name starts with AT_STRING
  bool request = false;       // the name contains REQ
};

buffer_traits classify_buffer(std::string_view name);

// Trace ids to trace types. Where conditions overlap, the one that comes first
// in the database holds; logarithmic in the number of conditions.
class trace_type_index {
 public:
  void build(const std::vector<type_descriptor>& descriptors);
  trace_type find(std::uint32_t trace_id) const;

 private:
  struct span {
    std::uint32_t first;  // the span ends where the next one begins
    trace_type type;
  };
  std::vector<span> spans_;
};

// An element of "peer_buffers", and what its type makes of its messages.
struct peer_buffer {
  enum class rule : std::uint8_t {
    incomplete,  // it has no name or no type: no packet
    not_a_text,  // the type: an error
    nas,
    rrc,
    none  // a type of another kind, or an RRC type that names no channel
  };

  std::size_t position;                // in the list
  std::optional<std::uint32_t> layer;  // none: not a number
  rule message = rule::incomplete;
  std::string layer_name;  // of an RRC channel
};

// Elements of "peer_buffers" by buffer id and peer layer id. Gives what a walk
// through the list would give: the first match, and the JSON type error of an
// element that such a walk would have met on its way.
class peer_buffer_index {
 public:
  // `elements` must outlive the index's use; pass the same list to find().
  void build(const std::vector<kovax::json>& elements);
  // Valid until the next build().
  const peer_buffer* find(const std::vector<kovax::json>& elements, std::uint32_t id,
                          std::uint32_t layer) const;

 private:
  std::unordered_map<std::uint32_t, std::vector<peer_buffer>> by_id_;
  std::optional<std::size_t> first_without_numeric_id_;
};

struct conversion_index {
  std::unordered_map<std::uint32_t, buffer_traits> buffers;
  trace_type_index types;
  peer_buffer_index peers;
  std::string payload;               // scratch space for payloads that are not a part of the trace
  no_packet_reason why_no_packet{};  // of the latest trace that made none
};

// Builds all tables from the other members of `config`.
void build_conversion_index(trace_db_config& config);

}  // namespace veltra
