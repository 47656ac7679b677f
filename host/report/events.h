// events.h - messages in their relation to procedures.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "host/report/analysis.h"

namespace veltra::report {

// Which procedure a message belongs to. One that belongs to several, as an authentication inside
// an attach, counts to the shortest.
class event_index {
 public:
  explicit event_index(const analysis& all);

  // Null for a message outside every procedure.
  const procedure* procedure_of(const message& each) const;

  // The cause of a failure that this message ends; null for other messages.
  const cause* cause_of(const message& each) const;

 private:
  std::unordered_map<std::uint32_t, const procedure*> by_frame_;
  std::unordered_map<std::uint32_t, const cause*> causes_;
};

}  // namespace veltra::report
