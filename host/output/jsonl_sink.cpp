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
  const layer& layer = layer_of(packet.layer);
  if (!layer.is_selected) {
    pass_over(packet);
    return;
  }
  line_.clear();
  line_ += R"({"sequence":)";
  append_json_number(line_, packet.sequence);
  line_ += R"(,"time":)";
  append_json_number(line_, packet.time);
  line_.append(R"(,"layer":)").append(layer.quoted);
  line_.append(R"(,"category":)").append(quoted_category(packet.category));
  line_ += R"(,"payload":")";
  append_hex(line_, packet.payload);
  line_ += '"';
  append_metadata(packet.metadata);
  append_meaning(packet, layer);
  line_ += "}\n";
  file().write(line_);
  count_packet();
  update_bytes();
}

void jsonl_sink::append_metadata(std::string_view metadata) {
  if (metadata_ == metadata_use::none) return;
  if (metadata.empty()) metadata = "{}";
  if (metadata_ == metadata_use::once) {
    const std::string_view lasting = metadata.substr(std::min(metadata.find(','), metadata.size()));
    if (latest_metadata_ && *latest_metadata_ == lasting) return;
    latest_metadata_ = lasting;
  }
  line_ += R"(,"metadata":)";
  line_ += metadata;
}

// What a reader would otherwise have to find in the bytes.
void jsonl_sink::append_meaning(const packet& packet, const layer& layer) {
  switch (packet_direction(layer.kind, layer.way, packet)) {
    case direction::sent:
      line_ += R"(,"direction":"sent")";
      break;
    case direction::received:
      line_ += R"(,"direction":"received")";
      break;
    case direction::unknown:
      break;
  }
  if (const std::optional<std::uint64_t> dropped = dropped_traces(packet)) {
    line_ += R"(,"kind":"dropped","count":)";
    append_json_number(line_, *dropped);
  } else if (layer.kind == packet_kind::at) {
    line_ += R"(,"kind":"at","text":)";
    append_json_text(line_, payload_text(packet));
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

const jsonl_sink::layer& jsonl_sink::layer_of(std::string_view name) {
  if (const auto known = layers_.find(name); known != layers_.end()) return known->second;
  const dissector* const found = find_dissector(name);
  const layer made{packets_.has_layer(name), found != nullptr ? found->kind : packet_kind::other,
                   found != nullptr ? found->way : direction::unknown, quoted(name)};
  return layers_.emplace(name, made).first->second;
}

const std::string& jsonl_sink::quoted_category(std::string_view name) {
  if (const auto known = categories_.find(name); known != categories_.end()) return known->second;
  return categories_.emplace(name, quoted(name)).first->second;
}

}  // namespace veltra::host
