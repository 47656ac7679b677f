// jsonl_writer.h - packets as JSON Lines: one object a line (RFC 8259, UTF-8, LF).
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "host/output/packet_consumer.h"
#include "host/output/output_file.h"

namespace veltra::host {

// Each line: {"sequence":N,"time":NANOSECONDS,"layer":"..","category":"..",
// "payload":"HEX","metadata":{..}}. One thread.
class jsonl_writer : public packet_consumer {
 public:
  // `file` must outlive the writer. Raw packets are passed over unless
  // `with_raw_packets`.
  jsonl_writer(output_file& file, bool with_raw_packets);

  void consume(const packet& packet) override;
  void finish() override {}
  bool flush() override;

 private:
  const std::string& quoted(std::string_view text);

  output_file& file_;
  const bool with_raw_packets_;
  std::map<std::string, std::string, std::less<>> quoted_;  // the few names there are
  std::string line_;                                        // kept to save its allocation
};

}  // namespace veltra::host
