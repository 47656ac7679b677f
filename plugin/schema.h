// schema.h - the published description of the init parameters.
#pragma once

namespace veltra {

// A JSON Schema document (edition 2020-12) on one line, NUL-terminated, with
// static lifetime: the host's configuration entry for this plug-in.
extern const char* const init_parameters_schema;

}  // namespace veltra
