#include "tests/support/plugin_library.h"

#include "platform/dynamic_library.h"
#include "platform/file.h"
#include "tests/support/decoder_preference.h"

namespace test_support {

namespace {

plugin_functions resolve(const platform::dynamic_library& library) {
  return {
      .init = library.function<kovax_source_init_fn>("kovax_source_init"),
      .init_parameters =
          library.function<kovax_source_init_parameters_fn>("kovax_source_init_parameters"),
      .start = library.function<kovax_source_start_fn>("kovax_source_start"),
      .stop = library.function<kovax_source_stop_fn>("kovax_source_stop"),
      .release = library.function<kovax_source_release_fn>("kovax_source_release"),
      .version = library.function<kovax_source_version_fn>("kovax_source_version"),
      .get_last_error =
          library.function<kovax_source_get_last_error_fn>("kovax_source_get_last_error"),
  };
}

}  // namespace

const plugin_functions& plugin() {
  prefer_decoder_of_the_environment();
  // Never unloaded: a sanitizer's report at exit can still name the plug-in's functions, and
  // what the plug-in keeps for as long as it is loaded is not a leak.
  static const auto& library =
      *new platform::dynamic_library(platform::path_from_utf8(plugin_file()));
  static const plugin_functions functions = resolve(library);
  return functions;
}

const char* plugin_file() {
  return VELTRA_PLUGIN_FILE;
}

}  // namespace test_support
