#include "host/simulate/simulation.h"

#include <utility>

#include "host/output/output_failure.h"

namespace veltra::host {

namespace {

// Frames are gathered to this many bytes before they go to the file.
constexpr std::size_t write_block = std::size_t{1} << 18;

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

}  // namespace

simulation::simulation(simulate_options options)
    : options_(std::move(options)), modem_(load_virtual_modem(options_)) {
  const auto open_stream = [this](const std::filesystem::path& target,
                                  std::optional<output_file>& file) {
    if (!output_file::is_stream(target)) return;
    streams_.push_back(&file.emplace(target));
  };
  // Opening a named pipe waits for its reader, so all checks precede it.
  check_output_place("cannot write", options_.database);
  check_output_place("cannot write", options_.trace);
  open_stream(options_.database, database_);
  open_stream(options_.trace, trace_);
}

void simulation::limit_writes() noexcept {
  for (output_file* const stream : streams_) stream->limit_writes();
}

simulate_result simulation::write(const std::function<bool()>& stopped) {
  if (!database_) database_.emplace(options_.database);
  if (!trace_) trace_.emplace(options_.trace);
  database_->write(database_file_content(options_, modem_.database));
  const bool whole = write_trace(modem_, options_.repeat, *trace_, stopped);
  // Everything that can fail, except the renaming itself, precedes the first rename.
  database_->finish();
  trace_->finish();
  database_->commit();
  trace_->commit();
  return {modem_.messages, trace_->size(), modem_.database.uuid, !whole};
}

}  // namespace veltra::host
