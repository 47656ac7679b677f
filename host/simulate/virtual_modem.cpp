#include "host/simulate/virtual_modem.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/uuid.h"
#include "host/output/same_file.h"
#include "host/simulate/peer_buffer_table.h"
#include "host/simulate/trace_builder.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::uint64_t ns_per_us = 1000;
// Between the last message of one play and the start of the next.
constexpr std::uint64_t repetition_gap_ns = 1'000'000'000;

constexpr std::string_view plain_extension = ".json";
constexpr std::string_view archive_extension = ".gz";

[[noreturn]] void refuse(exit_code code, const std::string& text) {
  throw user_error(code, text);
}

void check(const simulate_options& options) {
  const auto extension = options.database.extension();
  if (!options.database.empty() && extension != plain_extension && extension != archive_extension) {
    refuse(exit_code::usage,
           fmt::format("the database {} must have a name that ends in .json or .gz, since no other "
                       "is read as a trace database.",
                       platform::path_to_utf8(options.database)));
  }
  if (!options.trace.empty() && is_same_file(options.trace, options.database)) {
    refuse(exit_code::usage, "--trace and --database name the same file; give two names.");
  }
  for (const auto& target : {options.trace, options.database}) {
    if (target.empty()) continue;
    if (is_same_file(options.session, target)) {
      refuse(exit_code::usage,
             fmt::format("{} is the session itself and would be overwritten; give another name.",
                         platform::path_to_utf8(target)));
    }
  }
  if (options.repeat == 0) {
    refuse(exit_code::usage, "--repeat 0 would write no message; give 1 or more.");
  }
  if (options.uuid && !is_uuid(*options.uuid)) {
    refuse(exit_code::usage,
           fmt::format("--uuid {} is not a UUID; it needs 8-4-4-4-12 hexadecimal digits.",
                       *options.uuid));
  }
}

}  // namespace

virtual_modem make_virtual_modem(const session& recorded, const std::optional<std::string>& uuid) {
  virtual_modem modem;
  modem.messages = recorded.messages.size();

  // The database UID comes first in every play, so that a reader that joins a running
  // modem finds it too. Its text is filled in when the database is complete: messages
  // may still add to it.
  auto& traces = modem.traces.traces;
  traces.reserve(recorded.messages.size() + 1);
  traces.emplace_back();
  peer_buffer_table table;
  std::uint64_t last_ns = 0;
  for (const session_message& message : recorded.messages) {
    timed_trace trace{message.time_us * ns_per_us, build_trace(message, table, recorded.name)};
    last_ns = std::max(last_ns, trace.time_ns);
    traces.push_back(std::move(trace));
  }
  modem.traces.period_ns = last_ns + repetition_gap_ns;

  modem.database = make_database_document(table.buffers(), uuid);
  traces.front().bytes = build_database_uid_trace(modem.database.uuid);
  return modem;
}

virtual_modem load_virtual_modem(const simulate_options& options) {
  check(options);
  virtual_modem modem = make_virtual_modem(read_session(options.session), options.uuid);
  const std::uint64_t max_repeat = trace_player::max_repetitions(modem.traces);
  if (options.repeat > max_repeat) {
    refuse(exit_code::usage,
           fmt::format("--repeat {} needs timestamps beyond 64 bits; {} is the most for this "
                       "session.",
                       options.repeat, max_repeat));
  }
  return modem;
}

std::string database_file_content(const simulate_options& options,
                                  const database_document& database) {
  return options.database.extension() == archive_extension ? archive_database(database)
                                                           : database.text;
}

}  // namespace veltra::host
