// many_runs.h - several runs at the same time.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "host/exit_code.h"
#include "host/run/run_group.h"

namespace veltra::host {

// The work of one run, on a thread of its own; what it throws is its failure.
using grouped_run = std::function<exit_code(run_group&)>;

// Does all of them and waits until the last one has ended. A failure goes to `show_line` when
// it happens and costs the other runs nothing; Ctrl-C ends all. Returns the exit code of the
// first run in the list that has another one than ok.
exit_code run_side_by_side(const std::vector<grouped_run>& runs,
                           const std::function<void(std::string_view line)>& show_line);

}  // namespace veltra::host
