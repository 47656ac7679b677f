#include "diagnosis/trace_analysis.h"

#include <dekodrix/dekodrix.h>

#include <exception>
#include <optional>
#include <span>

#include "decoder/decoder.h"
#include "plugin/database/stream_uuid.h"
#include "plugin/source_properties.h"
#include "plugin/trace_db.h"

namespace veltra::diagnosis {

namespace {

const char* describe(no_packet_reason reason) {
  switch (reason) {
    case no_packet_reason::no_content:
      return "not longer than the trace id";
    case no_packet_reason::types_are_off:
      return "the database maps no types (\"type_mapping\")";
    case no_packet_reason::type_without_rule:
      return "a type that no rule reads";
    case no_packet_reason::unknown_peer_layer:
      return "a peer layer that is not in the database";
    case no_packet_reason::unknown_peer_buffer:
      return "a buffer that the database does not have for its peer layer";
    case no_packet_reason::message_without_rule:
      return "a message type that no rule reads";
    case no_packet_reason::unknown_trace:
      return "a trace id that the database does not define";
    case no_packet_reason::format_without_rule:
      return "a format that no rule reads";
    case no_packet_reason::none:
      break;
  }
  return "no reason";
}

const char* name_of(trace_type type) {
  switch (type) {
    case trace_type::peer_dump:
      return "peer_dump";
    case trace_type::formatted:
      return "formatted";
    case trace_type::other:
      break;
  }
  return "other";
}

}  // namespace

struct trace_analyser::state {
  explicit state(const std::filesystem::path& database)
      : collection(read_database_file(database, {})) {
    found.database_uuid = collection.uuid == "UUID_UNKNOWN" ? "" : collection.uuid;
    std::optional<std::string> text = collection.find_decoder_config("MCU");
    if (!text) text = collection.find_decoder_config("M4");
    found.is_open_format = text && decoder.set_configuration(*text);
    if (found.is_open_format) configuration = *open_decoder::parse_configuration(*text);
  }

  // The decoder counts them together.
  void count_unknown_masters(std::span<const std::uint8_t> input) {
    std::span<const std::uint8_t> bytes;
    for (;;) {
      const auto event = scanner.next(input, bytes);
      if (event == open_decoder::frame_scanner::event::need_more) return;
      if (event == open_decoder::frame_scanner::event::damaged) continue;
      const auto frame = open_decoder::parse_frame(bytes);
      if (frame && !configuration.accepts(frame->master_id)) {
        ++found.unknown_masters[frame->master_id];
      }
    }
  }

  void take_trace(const dekodrix_trace& trace) {
    ++found.traces;
    trace_db_config* const config = collection.find_config_for_master(trace.master_id);
    if (config == nullptr) {
      ++found.traces_by_type[{trace.master_id, "unknown"}];
      ++found.traces_without_packet["a master that the database does not describe"];
      return;
    }
    ++found.traces_by_type[{trace.master_id, name_of(type_of_trace(*config, trace))}];
    try {
      const auto packet = convert_trace(*config, trace);
      if (packet) {
        ++found.packets_by_layer[packet->format];
      } else {
        ++found.traces_without_packet[describe(config->index.why_no_packet)];
      }
    } catch (const std::exception&) {
      ++found.traces_without_packet["a definition of a wrong type, which ends a run"];
    }
  }

  database_collection collection;
  open_decoder::decoder decoder;
  open_decoder::configuration configuration;
  open_decoder::frame_scanner scanner;
  stream_uuid uuid;
  trace_analysis found;
};

trace_analyser::trace_analyser(const std::filesystem::path& database)
    : state_(std::make_unique<state>(database)) {}

trace_analyser::~trace_analyser() = default;

void trace_analyser::take(std::string_view bytes) {
  state_->found.bytes += bytes.size();
  state_->uuid.take(bytes);
  if (!state_->found.is_open_format) return;
  const std::span data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  state_->count_unknown_masters(data);
  state_->decoder.append(data);
  state_->decoder.parse();
  while (const auto trace = state_->decoder.take_trace()) state_->take_trace(*trace);
}

trace_analysis trace_analyser::result() {
  trace_analysis found = state_->found;
  const dekodrix_statistics counts = state_->decoder.statistics();
  found.frames_found = counts.frames_found;
  found.frames_intact = counts.frames_intact;
  found.frames_damaged = counts.frames_damaged;
  found.bytes_outside_frames = counts.bytes_outside_frames;
  found.stream_uuid = state_->uuid.result().value_or("");
  return found;
}

}  // namespace veltra::diagnosis
