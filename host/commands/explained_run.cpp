#include "host/commands/explained_run.h"

#include <fmt/format.h>

#include <exception>
#include <filesystem>
#include <system_error>

#include "host/explain/explanation.h"
#include "host/source/file_kind.h"
#include "host/source/trace_reader.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

bool is_empty_file(const std::string& name) {
  std::error_code error;
  return std::filesystem::file_size(platform::path_from_utf8(name), error) == 0 && !error;
}

}  // namespace

exit_code explain_empty_run(const std::string& trace, const database_options& database,
                            const std::function<exit_code()>& run) {
  try {
    return run();
  } catch (const user_error& error) {
    if (error.code() != exit_code::nothing_decoded) throw;
    // There is nothing in it to read the database again for.
    if (is_empty_file(trace)) throw;
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
