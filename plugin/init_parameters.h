// init_parameters.h - the JSON text that the host gives to kovax_source_init.
#pragma once

#include <string>

#include "plugin/database/host_log.h"
#include "plugin/source_settings.h"

namespace veltra {

struct init_parameters {
  std::string trace_file;  // UTF-8; empty: none
  source_settings settings;
};

// Reads and checks the parameters in a fixed order; the first thing wrong is
// what is reported. `text` may be null. Throws std::runtime_error,
// kovax::kovax_exception, std::filesystem::filesystem_error or the JSON
// library's errors.
init_parameters read_init_parameters(const char* text, const host_log& log);

}  // namespace veltra
