#include "host/output/jsonl_sink.h"

#include <fmt/format.h>

#include <iterator>
#include <utility>

#include "base/hex.h"
#include "implementation/json.h"

namespace veltra::host {

jsonl_sink::jsonl_sink(std::filesystem::path path, bool with_raw_packets)
    : file_sink(std::move(path)), with_raw_packets_(with_raw_packets) {}

void jsonl_sink::write(const packet& packet) {
  if (is_raw(packet) && !with_raw_packets_) return;
  line_.clear();
  fmt::format_to(std::back_inserter(line_),
                 R"({{"sequence":{},"time":{},"layer":{},"category":{},"payload":")",
                 packet.sequence, packet.time, quoted(packet.layer), quoted(packet.category));
  append_hex(line_, packet.payload);
  line_ += R"(","metadata":)";
  line_ += packet.metadata.empty() ? "{}" : packet.metadata;
  line_ += "}\n";
  file().write(line_);
  update_bytes();
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

const std::string& jsonl_sink::quoted(std::string_view text) {
  if (const auto known = quoted_.find(text); known != quoted_.end()) return known->second;
  using kovax::json;
  // What is not UTF-8 shows as replacement characters.
  return quoted_.emplace(text, json(text).dump(-1, ' ', false, json::error_handler_t::replace))
      .first->second;
}

}  // namespace veltra::host
