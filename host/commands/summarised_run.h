// summarised_run.h - a run whose end is reported to programs.
#pragma once

#include <functional>
#include <string>

#include "host/batch/summary_file.h"
#include "host/exit_code.h"
#include "host/run/run_report.h"

namespace veltra::host {

// Calls `run`, which fills `report`, and writes to `summary` what became of the run that read
// `input`, also if it failed. Throws what `run` threw, and user_error (losses) for a run that
// lost something if `fails_on_loss`.
exit_code summarise_run(const std::string& input, summary_file& summary, const run_report& report,
                        bool fails_on_loss, const std::function<exit_code()>& run);

// "7 dropped traces, 1 damaged frame"; empty without losses.
std::string describe_losses(const run_report& report);

}  // namespace veltra::host
