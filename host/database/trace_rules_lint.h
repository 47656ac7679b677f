// trace_rules_lint.h - the parts of a database that are read only when a trace needs them.
#pragma once

#include <cstdint>
#include <vector>

#include "host/database/finding.h"
#include "implementation/json_fwd.h"

namespace veltra::host {

// Whether a trace id of `size` bytes can have this value.
bool fits_trace_id(std::uint32_t id, std::uint32_t size);

// Checks "peer_buffers" and "traces" of `root`, an object, and appends to `findings`. What
// many elements share is one finding with their number and the first of them.
void check_trace_rules(const kovax::json& root, std::uint32_t trace_id_size,
                       std::vector<finding>& findings);

}  // namespace veltra::host
