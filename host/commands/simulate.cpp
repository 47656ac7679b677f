#include <fmt/format.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "host/commands/commands.h"
#include "host/console.h"
#include "host/simulate/live_simulation.h"
#include "host/simulate/simulation.h"
#include "platform/file.h"
#include "platform/interrupt.h"

namespace veltra::host {

namespace {

std::string played(std::uint64_t repeat, bool interrupted) {
  if (interrupted) return "interrupted";
  return repeat == 1 ? std::string("played once") : fmt::format("played {} times", repeat);
}

// Says what was written, on stdout unless the trace itself went there.
void report(const simulate_options& options, const simulate_result& result) {
  const bool to_stdout = options.trace == "-";
  const std::string line = sanitize(fmt::format(
      "{} message{}, {}: {} bytes of trace in {}; database {} in {}", result.messages,
      result.messages == 1 ? "" : "s", played(options.repeat, result.interrupted),
      result.trace_bytes,
      to_stdout ? std::string("standard output") : platform::path_to_utf8(options.trace),
      result.uuid, platform::path_to_utf8(options.database)));
  to_stdout ? print_message(line + "\n") : print(line + "\n");
}

}  // namespace

exit_code simulate_to_files(const simulate_options& options) {
  // Outside the watch: Ctrl-C must end the wait for a pipe's reader.
  simulation simulated(options);
  std::atomic<bool> stopped = false;
  const platform::interrupt_watch watch([&] {
    stopped = true;
    simulated.limit_writes();
  });
  const simulate_result result = simulated.write([&stopped] { return stopped.load(); });
  report(options, result);
  return result.interrupted ? exit_code::interrupted : exit_code::ok;
}

exit_code simulate_on_line(const live_simulate_options& options) {
  const simulate_result result = simulate_live(options, [](const std::filesystem::path& device) {
    // The only line on stdout, so that a script can read the name.
    print(platform::path_to_utf8(device) + "\n");
  });
  print_message(fmt::format("{} messages, {}: {} bytes sent; database {}\n", result.messages,
                            played(options.source.repeat, result.interrupted), result.trace_bytes,
                            result.uuid));
  return result.interrupted ? exit_code::interrupted : exit_code::ok;
}

}  // namespace veltra::host
