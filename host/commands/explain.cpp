#include "host/commands/commands.h"
#include "host/console.h"
#include "host/database/provisioning.h"
#include "host/explain/explanation.h"
#include "host/explain/foreign_packets.h"
#include "host/user_error.h"

namespace veltra::host {

exit_code explain_trace(const explain_options& options) {
  if (options.database.file.empty() && options.database.cache.empty()) {
    throw user_error(exit_code::usage,
                     "there is nothing to decode with: name the trace database with --database, or "
                     "a directory of databases with --cache.");
  }
  const std::string database = find_database_of_trace(options.database, options.trace).file;
  diagnosis::trace_analysis analysis = analyse_trace(options.trace, database);
  if (!analysis.is_open_format) {
    analysis.packets_by_layer = count_packets(options.trace, database, options.plugin);
  }
  print(options.as_json ? format_analysis_json(options.trace, database, analysis)
                        : format_analysis(options.trace, database, analysis));
  return exit_code::ok;
}

}  // namespace veltra::host
