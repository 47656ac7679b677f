// verdict.h - the answer in words: did it work, and if not, why.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/cause.h"
#include "host/report/procedure.h"

namespace veltra::report {

struct analysis;

// How the modem stands with the network at the end of the trace.
enum class registration : std::uint8_t {
  unknown,
  registered,      // by an attach in this trace
  in_service,      // registered before it, and served in it
  not_registered,  // refused, or never answered
  detached,
};

std::string_view registration_id(registration state);  // stable, for programs

// Something that went wrong, with the place to look at.
struct failure {
  std::uint32_t frame = 0;
  std::uint64_t time = 0;
  std::string what;                    // "attach rejected"
  std::optional<report::cause> cause;  // nothing if no message gives one
  std::string because;                 // a second cause inside the first; mostly empty
  std::string advice;                  // where to look

  // "attach rejected: EMM #19 ESM failure, because of ESM #27 Missing or unknown APN"
  std::string text() const;
};

struct verdict {
  registration state = registration::unknown;
  std::string headline;                // one line without a full stop
  std::optional<double> attach_ms;     // of the attach that succeeded last
  std::optional<std::uint32_t> frame;  // the message that decided
  std::optional<std::size_t> cell;     // index in analysis::cells
  std::vector<std::string> remarks;    // more that a reader should know, sentences
  std::vector<failure> failures;       // in the order of time

  bool is_served() const {
    return state == registration::registered || state == registration::in_service;
  }
};

// Concludes from everything else that is in `all`.
verdict find_verdict(const analysis& all);

// Durations as a person reads them: "45 ms", "15.03 s", "2 min 5 s".
std::string duration_text(double milliseconds);

}  // namespace veltra::report
