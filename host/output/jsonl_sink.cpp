#include "host/output/jsonl_sink.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/hex.h"
#include "host/output/json_text.h"
#include "host/output/packet_direction.h"

namespace veltra::host {

namespace {

std::string quoted(std::string_view text) {
  std::string made;
  append_json_text(made, text);
  return made;
}

}  // namespace

jsonl_sink::jsonl_sink(std::filesystem::path path, packet_selection packets, metadata_use metadata)
    : file_sink(std::move(path)), packets_(packets), metadata_(metadata) {}

void jsonl_sink::write(const packet& packet) {
  layer_format& format = format_of(packet.layer);
  if (!format.is_selected) {
    pass_over(packet);
    return;
  }
  file().write_with([&](std::string& line) { append_line(line, packet, format); });
  count_packet();
  update_bytes();
}

void jsonl_sink::append_line(std::string& line, const packet& packet, layer_format& format) {
  line += R"({"sequence":)";
  append_json_number(line, packet.sequence);
  line += R"(,"time":)";
  append_json_number(line, packet.time);
  line += opening_of(format, packet.category);
  append_hex(line, packet.payload);
  line += '"';
  append_metadata(line, packet.metadata);
  append_meaning(line, packet, format);
  line += "}\n";
}

void jsonl_sink::append_metadata(std::string& line, std::string_view metadata) {
  if (metadata_ == metadata_use::none) return;
  if (metadata.empty()) metadata = "{}";
  if (metadata_ == metadata_use::once) {
    const std::string_view lasting = metadata.substr(std::min(metadata.find(','), metadata.size()));
    if (latest_metadata_ && *latest_metadata_ == lasting) return;
    latest_metadata_ = lasting;
  }
  line += R"(,"metadata":)";
  line += metadata;
}

// What a reader would otherwise have to find in the bytes.
void jsonl_sink::append_meaning(std::string& line, const packet& packet,
                                const layer_format& format) {
  switch (packet_direction(format.kind, format.way, packet)) {
    case direction::sent:
      line += R"(,"direction":"sent")";
      break;
    case direction::received:
      line += R"(,"direction":"received")";
      break;
    case direction::unknown:
      break;
  }
  if (const std::optional<std::uint64_t> dropped = dropped_traces(packet)) {
    line += R"(,"kind":"dropped","count":)";
    append_json_number(line, *dropped);
  } else if (format.kind == packet_kind::at) {
    line += R"(,"kind":"at","text":)";
    append_json_text(line, payload_text(packet));
  }
}

void jsonl_sink::mark_missed(std::uint64_t count) {
  file().write(fmt::format("{{\"kind\":\"missed\",\"count\":{}}}\n", count));
}

void jsonl_sink::add_remark(std::string_view remark) {
  file().write(fmt::format("{{\"kind\":\"remark\",\"text\":{}}}\n", quoted(remark)));
}

bool jsonl_sink::flush() {
  file().flush();
  return false;
}

// What it says of losses concerns the packets that follow.
void jsonl_sink::pass_over(const packet& packet) {
  if (!is_raw(packet) && !is_key_material(packet.layer)) ++passed_over_;
  const std::optional<std::uint64_t> dropped = dropped_traces(packet);
  if (!dropped) return;
  file().write(fmt::format("{{\"kind\":\"dropped\",\"count\":{}}}\n", *dropped));
  update_bytes();
}

std::string jsonl_sink::packet_remarks() const {
  if (passed_over_ == 0) return {};
  return fmt::format("{} packet{} of other layers left out", passed_over_,
                     passed_over_ == 1 ? "" : "s");
}

jsonl_sink::layer_format& jsonl_sink::format_of(std::string_view name) {
  if (layer_format* const known = layers_.find(name)) return *known;
  const dissector* const found = find_dissector(name);
  const layer_format made{packets_.has_layer(name),
                          found != nullptr ? found->kind : packet_kind::other,
                          found != nullptr ? found->way : direction::unknown, quoted(name)};
  return layers_.add(name, made);
}

// All packets of a layer have one category, unless a plug-in decides otherwise.
const std::string& jsonl_sink::opening_of(layer_format& format, std::string_view category) {
  if (format.opening.empty() || format.category != category) {
    format.category = category;
    format.opening =
        fmt::format(R"(,"layer":{},"category":{},"payload":")", format.quoted, quoted(category));
  }
  return format.opening;
}

}  // namespace veltra::host
