// source_parameters.h - what the host tells the plug-in, and what its refusals mean.
#pragma once

#include <filesystem>
#include <string>

#include "host/capture/source_session.h"
#include "host/user_error.h"

namespace veltra::host {

// A path in a form that the plug-in takes literally: it would replace "~" in an
// absolute path and a whole text of the form ${env:NAME}.
std::string literal_path(const std::filesystem::path& path);

// Turns a refusal of kovax_source_init into a sentence with the next step; the
// plug-in's own words stay in it.
user_error explain_init_failure(const source_failure& failure, const std::string& input,
                                const std::string& database);

// The same for a run that failed.
user_error explain_run_failure(const source_failure& failure, const std::string& input);

}  // namespace veltra::host
