#include "host/run/trace_times.h"

#include <utility>

namespace veltra::host {

void trace_times::begin_file(const std::filesystem::path& file) {
  writer_.emplace(sidecar_path(file));
  bytes_ = 0;
  knows_uuid_ = false;
}

std::error_code trace_times::place(packet& packet, utc_time now, const run_statistics& statistics) {
  const bool is_first_byte = is_raw(packet) && bytes_ == 0;
  if (is_raw(packet)) bytes_ += packet.payload.size();
  const std::optional<clock_anchor> anchor = clock_.place(packet, now, bytes_);
  if (anchor) {
    latest_ = anchor;
    latest_now_ = now;
  }
  if (!writer_) return {};
  if (is_first_byte) return begin_sidecar(now, statistics);
  const bool is_new_uuid = !is_raw(packet) && !std::exchange(knows_uuid_, true);
  if (anchor) return writer_->add(*anchor, statistics.database_uuid());
  return is_new_uuid ? writer_->set_uuid(statistics.database_uuid()) : std::error_code();
}

// The times of a later file of a series are counted from the anchor before it.
std::error_code trace_times::begin_sidecar(utc_time now, const run_statistics& statistics) {
  writer_->begin();
  if (!latest_ && !is_decoded_) {
    latest_ = clock_.anchor_of_arrival(now);
    latest_now_ = now;
  }
  if (!latest_) return {};
  clock_anchor first = *latest_;
  first.raw_offset = 0;
  // Without a time of the modem the anchor is the file's own first byte.
  if (!first.modem_time) first.utc += now - latest_now_;
  return writer_->add(first, statistics.database_uuid());
}

}  // namespace veltra::host
