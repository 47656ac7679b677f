// decoder_configuration.h - whether the open decoder takes its configuration.
#pragma once

#include "implementation/json_fwd.h"

namespace veltra::diagnosis {

// True for an object that names the open decoder's format (docs/frame-format.md) and is not
// a configuration of it. Any thread.
bool is_refused_configuration(const kovax::json& configuration);

}  // namespace veltra::diagnosis
