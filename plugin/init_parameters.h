// init_parameters.h - the JSON text that the host gives to kovax_source_init.
#pragma once

#include "plugin/database/host_log.h"
#include "plugin/source_settings.h"

namespace veltra {

// Reads and checks the parameters in a fixed order; the first thing wrong is
// what is reported. `text` may be null. Throws std::runtime_error,
// kovax::kovax_exception, std::filesystem::filesystem_error or the JSON
// library's errors.
source_settings read_init_parameters(const char* text, const host_log& log);

// The published description of the parameters: a JSON Schema document (edition 2020-12)
// on one line, NUL-terminated, with static lifetime. It describes the host's whole
// configuration entry for this plug-in.
extern const char* const init_parameters_schema;

}  // namespace veltra
