// decode_batch.h - `veltra decode` of many traces into a directory.
#pragma once

#include "host/commands/commands.h"

namespace veltra::host {

// See decode(). Each trace is decoded by a process of its own, `veltra decode` with the options
// that were given.
exit_code decode_batch(const decode_options& options);

}  // namespace veltra::host
