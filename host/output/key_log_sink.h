// key_log_sink.h - the TLS secrets of a trace as a key log file.
#pragma once

#include "host/output/file_sink.h"
#include "host/output/tls_key_log.h"

namespace veltra::host {

// Writes the lines that Wireshark reads as "(Pre)-Master-Secret log filename"; the format is
// that of NSS key logs (see tls_key_log). Every packet that is not key material is passed
// over.
class key_log_sink : public file_sink {
 public:
  explicit key_log_sink(std::filesystem::path path) : file_sink(std::move(path)) {}

  void write(const packet& packet) override;
  void mark_missed(std::uint64_t count) override;
  bool flush() override;
  bool wants_raw_bytes() const override { return false; }

 private:
  void write_trailer() override;

  tls_key_log key_log_;
};

}  // namespace veltra::host
