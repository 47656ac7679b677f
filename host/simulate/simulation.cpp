#include "host/simulate/simulation.h"

#include <fmt/format.h>

#include <string_view>
#include <system_error>
#include <utility>

#include "host/output/output_failure.h"
#include "host/output/output_file.h"
#include "host/output/same_file.h"
#include "host/simulate/uuid.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// Frames are gathered to this many bytes before they go to the file.
constexpr std::size_t write_block = std::size_t{1} << 18;

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

// Returns whether all of it was written.
bool write_trace(const virtual_modem& modem, std::uint64_t repeat, output_file& file,
                 const std::function<bool()>& stopped) {
  std::string block;
  block.reserve(2 * write_block);
  for (trace_player player(modem.traces, repeat); !player.at_end();) {
    player.append_next(block);
    if (block.size() < write_block) continue;
    file.write(block);
    block.clear();
    if (stopped()) return player.at_end();
  }
  file.write(block);
  return true;
}

std::string database_bytes(const simulate_options& options, const database_document& database) {
  return options.database.extension() == archive_extension ? archive_database(database)
                                                           : database.text;
}

}  // namespace

virtual_modem load_virtual_modem(const simulate_options& options) {
  check(options);
  virtual_modem modem = make_virtual_modem(read_session(options.session), options.uuid);
  const std::uint64_t most = trace_player::max_repetitions(modem.traces);
  if (options.repeat > most) {
    refuse(exit_code::usage,
           fmt::format("--repeat {} needs timestamps beyond 64 bits; {} is the most for this "
                       "session.",
                       options.repeat, most));
  }
  return modem;
}

void write_database(const simulate_options& options, const database_document& database) {
  if (options.database.empty()) return;
  output_file file(options.database);
  file.write(database_bytes(options, database));
  file.commit();
}

simulation::simulation(simulate_options options)
    : options_(std::move(options)), modem_(load_virtual_modem(options_)) {
  const auto open_stream = [this](const std::filesystem::path& target,
                                  std::optional<output_file>& file) {
    if (!output_file::is_stream(target)) return;
    streams_.push_back(&file.emplace(target));
  };
  // Before the wait for a reader.
  check_output_place("cannot write", options_.database);
  check_output_place("cannot write", options_.trace);
  open_stream(options_.database, database_);
  open_stream(options_.trace, trace_);
}

void simulation::hurry() noexcept {
  for (output_file* const stream : streams_) stream->limit_writes();
}

simulate_result simulation::write(const std::function<bool()>& stopped) {
  if (!database_) database_.emplace(options_.database);
  if (!trace_) trace_.emplace(options_.trace);
  database_->write(database_bytes(options_, modem_.database));
  const bool whole = write_trace(modem_, options_.repeat, *trace_, stopped);
  // All that can fail but the names themselves comes before the first of them.
  database_->finish();
  trace_->finish();
  database_->commit();
  trace_->commit();
  return {modem_.messages, trace_->size(), modem_.database.uuid, !whole};
}

}  // namespace veltra::host
