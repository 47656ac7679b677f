#include "host/run/plugin_failure.h"

#include <fmt/format.h>

#include <string_view>

namespace veltra::host {

namespace {

struct explanation {
  failure_kind kind;
  const char* sentence;  // {0} input, {1} database, {2} the plug-in's message
};

constexpr explanation init_explanations[] = {
    {failure_kind::trace_missing, "{0}: {2}; check the name."},
    {failure_kind::trace_unreadable, "{0} cannot be read ({2}); check its permissions."},
    {failure_kind::trace_not_regular,
     "{0} is not a regular file ({2}); give the trace's own file."},
    {failure_kind::path_unreachable,
     "a named file cannot be reached ({2}); check its name and the permissions of the folders "
     "above it."},
    {failure_kind::database_missing, "{1}: {2}; check the name."},
    {failure_kind::database_unreadable,
     "the database {1} cannot be read ({2}); check that it is a file and its permissions."},
    {failure_kind::database_extension, "{1}: {2}; give a trace database under such a name."},
    {failure_kind::database_invalid, "{1}: {2}; give the trace database of the modem's firmware."},
    {failure_kind::database_not_gzip,
     "{1}: {2}; give a database as .json or as a gzip compressed tar archive."},
    {failure_kind::decoder_config_missing,
     "{1} contains no decoder configuration ({2}); an archive must begin with its database files, "
     "in the ustar format and without a folder."},
    {failure_kind::decoder_config_refused,
     "the decoder does not take the configuration in {1} ({2}); the database belongs to another "
     "decoding library."},
};

}  // namespace

user_error explain_init_failure(const source_failure& failure, const std::string& input,
                                const database_options& database) {
  const failure_kind kind = failure.kind();
  for (const explanation& known : init_explanations) {
    if (kind == known.kind) {
      return {exit_code::bad_input,
              fmt::format(fmt::runtime(known.sentence), input, database.file, failure.message)};
    }
  }
  return {exit_code::bad_input,
          fmt::format("the plug-in does not start: {}; check the parameters.", failure.message)};
}

std::string_view capture_remark(bool kept) {
  return kept ? "; what came before is in the capture" : "; no capture was written";
}

user_error explain_run_failure(const source_failure& failure, const std::string& input,
                               const database_options& database, bool kept) {
  // Definitions are read when a trace needs them.
  if (failure.kind() == failure_kind::json_type) {
    return {
        exit_code::run_failed,
        fmt::format("the trace database {} has a definition of a wrong type ({}); give the "
                    "trace database of the modem's firmware as its makers built it{}.",
                    database.file.empty() ? "that was found in " + database.cache : database.file,
                    failure.message, capture_remark(kept))};
  }
  return {exit_code::run_failed, fmt::format("reading {} failed: {} (code {}){}.", input,
                                             failure.message, failure.code, capture_remark(kept))};
}

std::string nothing_but_losses(const run_statistics& statistics) {
  if (statistics.decoded_packets() == 0) return "not one packet";
  return fmt::format("only reports of {} dropped trace{}", statistics.dropped_traces(),
                     statistics.dropped_traces() == 1 ? "" : "s");
}

user_error explain_nothing_decoded(const std::string& input, const database_options& database,
                                   const run_statistics& statistics) {
  if (statistics.raw_bytes() == 0) {
    return {exit_code::nothing_decoded, fmt::format("{} is empty; record the trace again.", input)};
  }
  return {exit_code::nothing_decoded,
          fmt::format("{} came out of {} with the database {} (UUID {}); check that it is the "
                      "modem's raw trace and that the database belongs to its firmware.",
                      nothing_but_losses(statistics), input,
                      database.file.empty() ? database.cache : database.file,
                      statistics.database_uuid())};
}

}  // namespace veltra::host
