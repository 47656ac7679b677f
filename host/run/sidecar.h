// sidecar.h - what a recording of raw bytes cannot say itself: when it was made.
//
// Beside the raw trace NAME is NAME.json, a JSON object (RFC 8259):
//   {"format": "veltra-trace", "version": 1, "uuid": "...",
//    "anchors": [{"time_base": "2024-05-01T12:00:00.123456789Z",
//                 "modem_time": 20000000, "offset": 4096}, ...]}
// "uuid" is the trace database's, empty if none was in use. Each anchor is a point in time
// on the host's clock (UTC) and the modem's (nanoseconds; without it the anchor is the
// trace's first packet), "offset" the bytes of the trace that had come by then. A restart
// of the modem makes another anchor.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "host/run/capture_clock.h"

namespace veltra::host {

struct sidecar {
  std::string uuid;
  std::vector<clock_anchor> anchors;

  bool operator==(const sidecar&) const = default;
};

// The sidecar's name for the raw trace `trace`.
std::filesystem::path sidecar_path(const std::filesystem::path& trace);

// Replaces the file as a whole.
std::error_code write_sidecar(const std::filesystem::path& path, const sidecar& content);

// True for any sidecar, whole or not.
bool is_sidecar(const std::filesystem::path& path);

// Nothing if there is no file, or one that is something else. Throws user_error
// (bad_input) for a sidecar that cannot be read.
std::optional<sidecar> read_sidecar(const std::filesystem::path& path);

// The UUID in the sidecar of `trace`; empty if there is none. Throws as read_sidecar() does.
std::string recorded_uuid(const std::filesystem::path& trace);

// The sidecar of a recording that is being made. One thread.
class sidecar_writer {
 public:
  explicit sidecar_writer(std::filesystem::path path) : path_(std::move(path)) {}

  const std::filesystem::path& path() const { return path_; }

  // The recording begins: an earlier one's sidecar goes with it.
  void begin();

  std::error_code add(const clock_anchor& anchor, const std::string& uuid);

  // Without effect before the first anchor.
  std::error_code set_uuid(const std::string& uuid);

 private:
  const std::filesystem::path path_;
  sidecar content_;
};

}  // namespace veltra::host
