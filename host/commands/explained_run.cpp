#include "host/commands/explained_run.h"

#include <fmt/format.h>

#include <exception>

#include "host/explain/explanation.h"
#include "host/source/file_kind.h"
#include "host/source/trace_reader.h"
#include "host/user_error.h"

namespace veltra::host {

exit_code explain_empty_run(const std::string& trace, const database_options& database,
                            const std::function<exit_code()>& run) {
  try {
    return run();
  } catch (const user_error& error) {
    if (error.code() != exit_code::nothing_decoded) throw;
    std::string text = error.what();
    const std::string kind = doubtful_kind(first_bytes_of(trace));
    if (!kind.empty()) text += fmt::format(" It begins like {}.", kind);
    if (database.file.empty() || needs_reader(trace)) throw user_error(error.code(), text);
    try {
      const diagnosis::trace_analysis analysis = analyse_trace(trace, database.file);
      if (analysis.bytes != 0) text += " " + summarise_analysis(analysis);
    } catch (const std::exception&) {
      // The first reason stays the one that is reported.
    }
    throw user_error(error.code(), text);
  }
}

}  // namespace veltra::host
