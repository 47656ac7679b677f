// raw_sink.h - the raw bytes of a capture, kept as they came.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "host/output/sink.h"
#include "platform/stream_writer.h"

namespace veltra::host {

// Appends every raw packet to a file at once, so that neither Ctrl-C nor a kill costs a
// byte that was delivered. The file has its final name from the first byte on, and
// `veltra decode` reads it; a run to which no byte comes makes none. What was written
// stays, whatever happens afterwards.
class raw_sink : public sink {
 public:
  // "-" is standard output. Fails at once for a file that cannot be written, and
  // (usage) for one that exists unless `may_overwrite`. `patience` is that of a stream
  // after limit_writes().
  explicit raw_sink(std::filesystem::path path, bool may_overwrite = false,
                    std::chrono::milliseconds patience = platform::stream_writer::usual_patience);

  // The file is written down to the device only when the system likes. Before begin().
  void skip_sync() { is_synced_ = false; }

  // A named pipe waits here for its reader.
  void begin() override;
  void write(const packet& packet) override;  // ignores packets that are not raw
  void mark_missed(std::uint64_t count) override { missed_ += count; }
  bool flush() override { return false; }
  void sync() override;
  void finish() override;
  bool salvage() override;
  void limit_writes() noexcept override { stream_.limit_writes(); }
  bool is_stream() const override { return is_stream_; }
  std::string name() const override;
  std::string remarks() const override;

  std::uint64_t bytes() const override { return bytes_; }

 private:
  struct closer {
    void operator()(std::FILE* file) const noexcept {
      if (file != stdout) std::fclose(file);
    }
  };

  void check_file();
  void open();
  int put(std::string_view bytes);  // 0, or an errno value
  [[noreturn]] void fail(int error) const;

  const std::filesystem::path path_;
  std::filesystem::path target_;  // where the links in its place lead
  const bool is_stream_;
  const bool may_overwrite_;
  bool is_synced_ = true;
  bool is_name_synced_ = false;
  platform::stream_writer stream_;
  std::unique_ptr<std::FILE, closer> file_;
  std::atomic<std::uint64_t> bytes_ = 0;
  std::uint64_t synced_bytes_ = 0;
  std::uint64_t missed_ = 0;  // packets
};

}  // namespace veltra::host
