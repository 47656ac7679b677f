// jsonl_sink.h - packets as JSON Lines: one object a line (RFC 8259, UTF-8, LF).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/output/file_sink.h"
#include "host/output/packet_selection.h"
#include "host/source/layer_map.h"

namespace veltra::host {

// Each line: {"sequence":N,"time":NANOSECONDS,"layer":"..","category":"..",
// "payload":"HEX","metadata":{..}}, with more members behind them: "direction":"sent" or
// "received" where it is known, "kind":"at","text":".." for an AT text, and
// "kind":"dropped","count":N for a report of losses. Lines that are not packets:
// {"kind":"missed","count":N} for packets that the reader was too slow for,
// {"kind":"dropped","count":N} for a report of losses that is not selected, and
// {"kind":"remark","text":".."}.
class jsonl_sink : public file_sink {
 public:
  explicit jsonl_sink(std::filesystem::path path, packet_selection packets = {},
                      metadata_use metadata = metadata_use::each);

  void write(const packet& packet) override;
  void mark_missed(std::uint64_t count) override;
  void add_remark(std::string_view remark) override;
  bool flush() override;
  bool wants_metadata() const override { return metadata_ != metadata_use::none; }
  bool wants_raw_bytes() const override { return packets_.has(packet_kind::raw); }

 private:
  // What is the same for all packets of a layer.
  struct layer_format {
    bool is_selected;
    packet_kind kind;
    direction way;  // unknown: a packet's own bytes may show it
    std::string quoted;
    std::string category = {};  // of the latest packet
    std::string opening = {};   // of its line, from the layer to the payload's digits
  };

  std::string packet_remarks() const override;
  void pass_over(const packet& packet);
  void append_line(std::string& line, const packet& packet, layer_format& format);
  void append_metadata(std::string& line, std::string_view metadata);
  static void append_meaning(std::string& line, const packet& packet, const layer_format& format);
  layer_format& format_of(std::string_view name);
  static const std::string& opening_of(layer_format& format, std::string_view category);

  const packet_selection packets_;
  const metadata_use metadata_;
  std::optional<std::string> latest_metadata_;  // that was written, without the offset
  layer_map<layer_format> layers_;
  std::uint64_t passed_over_ = 0;
};

}  // namespace veltra::host
