// tshark_reader.h - an installed tshark, asked about every frame of a capture.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/report/field_values.h"

namespace veltra::report {

// The tshark to use: `named` if it is not empty, else the one in the path, on Windows also the
// one where Wireshark is installed. Empty if there is none.
std::filesystem::path find_tshark(const std::string& named);

// Reads a capture through tshark, which runs beside the caller: it dissects while fields are
// taken. One thread.
class tshark_reader {
 public:
  // Starts `tshark` on `capture`. Throws std::system_error if it cannot be started.
  tshark_reader(std::filesystem::path tshark, std::filesystem::path capture);
  tshark_reader(const tshark_reader&) = delete;
  tshark_reader& operator=(const tshark_reader&) = delete;
  ~tshark_reader();

  // The next frame's number, with its fields in `into`; nothing after the last one.
  std::optional<std::uint32_t> next(field_values& into);

  // Names of fields that this tshark does not know; complete once next() returned.
  const std::vector<std::string>& unknown_fields() const;

  // After the last frame: why tshark ended early, in its own words; empty if it did not.
  const std::string& failure() const;

 private:
  class implementation;
  std::unique_ptr<implementation> implementation_;
};

// The version that the program names itself, e.g. "4.0.17"; empty if it does not run.
std::string tshark_version(const std::filesystem::path& tshark);

}  // namespace veltra::report
