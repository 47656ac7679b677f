// jsonl_sink.h - packets as JSON Lines: one object a line (RFC 8259, UTF-8, LF).
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "host/output/file_sink.h"

namespace veltra::host {

// Each line: {"sequence":N,"time":NANOSECONDS,"layer":"..","category":"..",
// "payload":"HEX","metadata":{..}}, or {"kind":"missed","count":N} for packets that the
// reader was too slow for, or {"kind":"remark","text":".."}.
class jsonl_sink : public file_sink {
 public:
  // Raw packets are passed over unless `with_raw_packets`.
  jsonl_sink(std::filesystem::path path, bool with_raw_packets);

  void write(const packet& packet) override;
  void mark_missed(std::uint64_t count) override;
  void add_remark(std::string_view remark) override;
  bool flush() override;
  bool wants_metadata() const override { return true; }

 private:
  const std::string& quoted(std::string_view text);

  const bool with_raw_packets_;
  std::map<std::string, std::string, std::less<>> quoted_;  // the few names there are
  std::string line_;                                        // kept to save its allocation
};

}  // namespace veltra::host
