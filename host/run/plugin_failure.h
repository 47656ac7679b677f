// plugin_failure.h - what the failures of the plug-in mean for the user.
#pragma once

#include <string>
#include <string_view>

#include "host/run/run_options.h"
#include "host/source/run_statistics.h"
#include "host/source/source_session.h"
#include "host/user_error.h"

namespace veltra::host {

// Each of these makes a sentence with the next step of a failure and keeps the plug-in's
// own words in it; `input` is the input as the user knows it. Any thread.

// A refusal of kovax_source_init.
user_error explain_init_failure(const source_failure& failure, const std::string& input,
                                const database_options& database);

// What became of the capture of a run that failed, for the end of a sentence. `kept`:
// what came before the failure was written.
std::string_view capture_remark(bool kept);

// A run that failed; `kept` as above.
user_error explain_run_failure(const source_failure& failure, const std::string& input,
                               const database_options& database, bool kept);

// What came out of a run without content, for a sentence that goes on with "came out
// of": not one packet, or only reports of losses.
std::string nothing_but_losses(const run_statistics& statistics);

// A run without content.
user_error explain_nothing_decoded(const std::string& input, const database_options& database,
                                   const run_statistics& statistics);

}  // namespace veltra::host
