// cause.h - why something failed: the number that the network or the modem gave, its meaning in
// the standard's words, and where a person looks next.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace veltra::report {

struct cause {
  std::string protocol;       // "EMM", "ESM", "RRC", "RP", "CP", "CME", "CMS", "timer"
  std::optional<int> number;  // the cause's, or the timer's: 3410
  std::string words;          // as in the standard
  std::string clause;         // where the standard lists it, e.g. "TS 24.301 9.9.3.9"
  std::string advice;         // where to look; may be empty

  // For a sentence: "EMM #15 No suitable cells in tracking area", without number the words.
  std::string text() const;
};

cause emm_cause(int number);  // TS 24.301, 9.9.3.9
cause esm_cause(int number);  // TS 24.301, 9.9.4.4
cause rp_cause(int number);   // TS 24.011, 8.2.5.4
cause cp_cause(int number);   // TS 24.011, 8.1.4.2

// The error of an AT command, from its result "+CME ERROR: 30"; nothing for other results and for
// errors in words (TS 27.007, 9.2; TS 27.005, 3.2.5).
std::optional<cause> at_error_cause(std::string_view result);

// An RRCConnectionReject, which may ask the modem to wait for longer than its waitTime
// (TS 36.331, 5.3.3.8).
cause rrc_reject(std::optional<std::uint64_t> wait_seconds,
                 std::optional<std::uint64_t> extended_wait_seconds);
// The cause in an RRCConnectionReestablishmentRequest (TS 36.331, 6.2.2).
cause rrc_reestablishment_cause(std::uint64_t value, bool narrow_band);
cause rrc_cause(std::string_view words, std::string_view advice);

// A timer of TS 24.301, 10.2, that ran out.
cause timer_expired(int timer, int seconds);

}  // namespace veltra::report
