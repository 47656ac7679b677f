// file_sink.h - what the sinks for packets share: an output_file from begin() to its name.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "host/output/output_file.h"
#include "host/output/sink.h"

namespace veltra::host {

class file_sink : public sink {
 public:
  // Before begin(): the file is not written down to the device, see unsynced_file_operations().
  void skip_sync() { is_synced_ = false; }

  void begin() final;
  void finish() final;
  bool salvage() final;
  void limit_writes() noexcept final;
  bool is_stream() const final { return is_stream_; }
  std::string name() const override;
  std::uint64_t bytes() const final { return bytes_; }
  std::uint64_t packets() const final { return packets_; }
  std::string remarks() const final;

 protected:
  // "-" is standard output.
  explicit file_sink(std::filesystem::path path);

  output_file& file() { return *file_; }  // from begin() on
  // Makes bytes() what the file has.
  void update_bytes() { bytes_.store(file_->size(), std::memory_order_relaxed); }
  void count_packet() { ++packets_; }

  // The output is about to be opened; may throw user_error.
  virtual void before_opening() {}

  // What precedes the first packet, and what follows the last.
  virtual void write_header() {}
  virtual void write_trailer() {}
  // Words for the summary about the packets.
  virtual std::string packet_remarks() const { return {}; }

 private:
  bool save_whole_records();

  std::filesystem::path path_;
  const bool is_stream_;
  bool is_synced_ = true;
  std::optional<output_file> file_;
  std::atomic<std::uint64_t> bytes_ = 0;
  std::uint64_t packets_ = 0;
  bool is_cut_ = false;  // the last records could not be written
};

}  // namespace veltra::host
