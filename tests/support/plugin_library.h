// plugin_library.h - the plug-in, loaded as a host loads it.
#pragma once

#include <kovax/source.h>

namespace test_support {

// The seven exported functions.
struct plugin_functions {
  kovax_source_init_fn init;
  kovax_source_init_parameters_fn init_parameters;
  kovax_source_start_fn start;
  kovax_source_stop_fn stop;
  kovax_source_release_fn release;
  kovax_source_version_fn version;
  kovax_source_get_last_error_fn get_last_error;
};

// The plug-in that was built with the tests. It is loaded by the first call, so
// that listing the tests needs no plug-in, and stays loaded. Throws
// std::runtime_error if it cannot be loaded.
const plugin_functions& plugin();

// Where it lies, UTF-8.
const char* plugin_file();

}  // namespace test_support
