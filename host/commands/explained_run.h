// explained_run.h - why nothing came out of a run.
#pragma once

#include <functional>
#include <string>

#include "host/database/database_options.h"
#include "host/exit_code.h"

namespace veltra::host {

// Calls `run`. To an error that nothing was decoded it adds what is in the file `trace`, as
// far as that can be found out.
exit_code explain_empty_run(const std::string& trace, const database_options& database,
                            const std::function<exit_code()>& run);

}  // namespace veltra::host
