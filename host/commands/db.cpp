#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/commands/commands.h"
#include "host/console.h"
#include "host/database/cache_report.h"
#include "host/database/database_failure.h"
#include "host/database/database_lint.h"
#include "host/database/database_options.h"
#include "host/database/database_summary.h"
#include "host/database/provisioning.h"
#include "host/database/publishing.h"
#include "host/database/sync_progress.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/shell.h"

namespace veltra::host {

namespace {

// Describes each fault on stderr; returns how many there are.
std::size_t report_faults(const std::vector<cached_database>& databases) {
  std::size_t faults = 0;
  for (const cached_database& database : databases) {
    if (database.state == database_state::intact) continue;
    ++faults;
    print_message(describe_fault(database) + "\n");
  }
  return faults;
}

// A catalogue whose paths begin with the placeholder says only half of where
// its files come from.
bool needs_root(const std::vector<cached_database>& databases) {
  return std::any_of(databases.begin(), databases.end(), [](const cached_database& database) {
    return database.location.starts_with("${root}") || database.location.starts_with("${ROOT}");
  });
}

}  // namespace

exit_code sync_cache(const database_options& options, bool as_json) {
  sync_progress progress(platform::path_from_utf8(options.cache), as_json ? stderr : stdout);
  try {
    provision_cache(options, {}, &progress);
  } catch (...) {
    progress.finish(true);
    throw;
  }
  progress.finish(false);
  if (progress.databases() == 0) throw no_database(options);
  if (!as_json) {
    print(fmt::format("{}: {} database{}, {} downloaded\n", sanitize(options.cache),
                      progress.databases(), progress.databases() == 1 ? "" : "s",
                      progress.downloads()));
  }
  // What was downloaded has not been compared with the catalogue yet.
  const std::vector<cached_database> databases = look_at_cache(options);
  if (as_json) print(format_cache_json(databases));
  if (const std::size_t faults = report_faults(databases)) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} of {} databases cannot be used; compare the catalogue's "
                                 "digests and paths with the files that they name.",
                                 faults, progress.databases()));
  }
  return exit_code::ok;
}

exit_code list_cache(const database_options& options, bool as_json) {
  const std::vector<cached_database> databases = look_at_cache(options);
  print(as_json ? format_cache_json(databases) : format_cache_table(databases));
  return exit_code::ok;
}

exit_code show_database(const std::string& file, bool as_json) {
  const database_summary summary = summarize_database_file(platform::path_from_utf8(file));
  print(as_json ? summary.json : summary.text);
  for (const finding& each : summary.findings) {
    if (each.severity == severity::warning) continue;
    throw user_error(exit_code::bad_input,
                     fmt::format("{}: {}; all its faults: veltra db lint {}", file,
                                 describe_finding(each), platform::shell_word(file)));
  }
  return exit_code::ok;
}

exit_code publish_directory(const publish_options& options) {
  print(publish_databases(platform::path_from_utf8(options.place), options.names.device));
  return exit_code::ok;
}

exit_code add_to_cache(const publish_options& options) {
  print(add_database(platform::path_from_utf8(options.place),
                     platform::path_from_utf8(options.cache), options.names));
  return exit_code::ok;
}

exit_code lint_database(const lint_options& options) {
  const lint_result lint = lint_database_file(platform::path_from_utf8(options.file));
  print(options.as_json ? format_findings_json(options.file, lint.findings)
                        : format_findings(options.file, lint.findings));
  if (count_faults(lint.findings) != 0 || (options.is_strict && !lint.findings.empty())) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} has {}; docs/database-format.md has the rules.", options.file,
                                 count_findings(lint.findings)));
  }
  return exit_code::ok;
}

exit_code verify_cache(const database_options& options, bool as_json) {
  const std::vector<cached_database> databases = look_at_cache(options);
  if (as_json) print(format_cache_json(databases));
  if (databases.empty()) throw no_database(options);
  if (const std::size_t faults = report_faults(databases)) {
    throw user_error(
        exit_code::bad_input,
        fmt::format("{} of {} databases in {} cannot be used; fetch them with: "
                    "veltra db sync --cache {}{}",
                    faults, databases.size(), options.cache, platform::shell_word(options.cache),
                    needs_root(databases) ? " --root URL" : ""));
  }
  if (!as_json) {
    print(fmt::format("{}: {} database{}, all intact\n", sanitize(options.cache), databases.size(),
                      databases.size() == 1 ? "" : "s"));
  }
  return exit_code::ok;
}

}  // namespace veltra::host
