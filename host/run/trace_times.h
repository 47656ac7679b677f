// trace_times.h - the times of a run's packets, and the sidecars that keep them for the raw
// trace.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "host/run/capture_clock.h"
#include "host/run/sidecar.h"
#include "host/source/packet.h"
#include "host/source/run_statistics.h"

namespace veltra::host {

// One thread at a time.
class trace_times {
 public:
  // Without decoding no message comes whose time is known on both clocks.
  trace_times(capture_clock clock, bool is_decoded)
      : clock_(std::move(clock)), is_decoded_(is_decoded) {}

  // The raw trace goes on in `file`, which gets a sidecar with its first byte.
  void begin_file(const std::filesystem::path& file);

  // Sets the packet's time_offset and clock_step. `now` is the host's time; the statistics
  // contain the packet already. Returns why the sidecar could not be written.
  std::error_code place(packet& packet, utc_time now, const run_statistics& statistics);

  // Where the sidecar under way is. After begin_file().
  const std::filesystem::path& sidecar_file() const { return writer_->path(); }

 private:
  std::error_code begin_sidecar(utc_time now, const run_statistics& statistics);

  capture_clock clock_;
  const bool is_decoded_;
  std::optional<sidecar_writer> writer_;
  std::optional<clock_anchor> latest_;
  utc_time latest_now_ = 0;  // the host's time at the latest anchor
  std::uint64_t bytes_ = 0;  // of the raw file under way
  bool knows_uuid_ = false;  // of the raw file under way
};

}  // namespace veltra::host
