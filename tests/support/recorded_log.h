// recorded_log.h - a host's log callback that keeps what it gets.
#pragma once

#include <kovax/source.h>

#include <ostream>
#include <string>
#include <vector>

#include "plugin/database/host_log.h"

namespace test_support {

struct log_line {
  int32_t level = 0;
  std::string message;
  const kovax_source* source = nullptr;

  bool operator==(const log_line&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const log_line& line) {
  return out << line.level << " \"" << line.message << "\" " << line.source;
}

class recorded_log {
 public:
  // The callback to hand to what is tested; this object must outlive it.
  veltra::host_log host_log(kovax_source* source = nullptr) { return {record, this, source}; }

  const std::vector<log_line>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

 private:
  static void record(kovax_source* source, void* user_data, int32_t level, const char* message) {
    static_cast<recorded_log*>(user_data)->lines_.push_back({level, message, source});
  }

  std::vector<log_line> lines_;
};

}  // namespace test_support
