#include "host/run/plugin_parameters.h"

#include "host/database/database_options.h"
#include "host/source/literal_path.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

std::string plugin_parameters(const input& input, const run_options& options,
                              bool is_read_meanwhile) {
  kovax::json parameters = input.parameters();
  if (input.is_live()) parameters["recording_rest"] = is_read_meanwhile ? 3 : 10;
  parameters["chunk_size"] = options.chunk_size;
  const database_options& database = options.database;
  if (!database.file.empty()) {
    parameters["db_file_path"] = literal_path(platform::path_from_utf8(database.file));
  } else if (!database.cache.empty()) {
    parameters["auto_detect_db_config"] = cache_parameters(database);
  }
  try {
    return parameters.dump();
  } catch (const kovax::json::type_error&) {
    throw user_error(exit_code::bad_input,
                     "a name on the command line is not UTF-8; the plug-in takes only names that "
                     "are.");
  }
}

}  // namespace veltra::host
