#include "host/simulate/live_simulation.h"

#include <fmt/format.h>

#include <memory>
#include <system_error>
#include <utility>

#include "host/output/output_file.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/interrupt.h"
#include "platform/pseudo_terminal.h"

namespace veltra::host {

namespace {

// A reader that sets the port up may drop what has arrived. Playing begins when it has
// dropped nothing for this long after it opened the port, which is far more than a busy
// machine takes from the one to the other,
constexpr std::chrono::milliseconds settling{2000};
// or, once it has dropped something, for this long.
constexpr std::chrono::milliseconds quiet{250};
// After the end, how long a reader that has read everything may keep the port open.
constexpr std::chrono::milliseconds grace{500};

play_end end_of(platform::pseudo_terminal::outcome outcome) {
  switch (outcome) {
    case platform::pseudo_terminal::outcome::interrupted:
      return play_end::interrupted;
    case platform::pseudo_terminal::outcome::reader_gone:
      return play_end::reader_gone;
    case platform::pseudo_terminal::outcome::done:
      break;
  }
  return play_end::complete;
}

class pty_line : public modem_line {
 public:
  explicit pty_line(platform::pseudo_terminal& terminal) : terminal_(terminal) {}

  time_point now() override { return std::chrono::steady_clock::now(); }
  play_end write(std::string_view bytes) override { return end_of(terminal_.write(bytes)); }
  play_end sleep_until(time_point when) override { return end_of(terminal_.sleep_until(when)); }

 private:
  platform::pseudo_terminal& terminal_;
};

// A symbolic link that exists as long as the object. It replaces a link to another such
// device, which an earlier run left behind.
class device_link {
 public:
  device_link(std::filesystem::path link, std::filesystem::path device)
      : link_(std::move(link)), device_(std::move(device)) {
    if (link_.empty()) return;
    std::error_code error;
    const auto earlier = std::filesystem::read_symlink(link_, error);
    if (!error && earlier.parent_path() == device_.parent_path()) {
      std::filesystem::remove(link_, error);
    }
    std::filesystem::create_symlink(device_, link_, error);
    if (!error) return;
    throw user_error(exit_code::output_failed,
                     fmt::format("cannot create the link {}: {}; give another name after --pty.",
                                 platform::path_to_utf8(link_), error.message()));
  }
  device_link(const device_link&) = delete;
  device_link& operator=(const device_link&) = delete;
  ~device_link() {
    std::error_code ignored;
    if (link_.empty() || std::filesystem::read_symlink(link_, ignored) != device_) return;
    std::filesystem::remove(link_, ignored);
  }

 private:
  const std::filesystem::path link_;
  const std::filesystem::path device_;
};

std::unique_ptr<platform::pseudo_terminal> open_terminal() {
  try {
    return std::make_unique<platform::pseudo_terminal>();
  } catch (const std::system_error& error) {
    throw user_error(exit_code::run_failed,
                     fmt::format("the system gives no pseudo-terminal: {}; write a trace file with "
                                 "--trace instead.",
                                 error.what()));
  }
}

void write_database(const simulate_options& options, const database_document& database) {
  if (options.database.empty()) return;
  output_file file(options.database);
  file.write(database_file_content(options, database));
  file.commit();
}

play_end play_to_reader(platform::pseudo_terminal& terminal, trace_player& player,
                        const play_pace& pace, std::uint64_t& bytes) {
  const play_end begin = end_of(terminal.wait_for_reader(settling, quiet));
  if (begin != play_end::complete) return begin;
  pty_line line(terminal);
  const play_result played = play(player, pace, line);
  bytes = played.bytes;
  return played.end == play_end::complete ? end_of(terminal.drain(grace)) : played.end;
}

}  // namespace

simulate_result simulate_live(const live_simulate_options& options,
                              const std::function<void(const std::filesystem::path&)>& announce) {
  const virtual_modem modem = load_virtual_modem(options.source);
  const auto terminal = open_terminal();
  const platform::interrupt_watch watch([&] { terminal->interrupt(); });
  // Before the link, so that a program that waits for the link finds the database.
  write_database(options.source, modem.database);
  const device_link link(options.link, terminal->device());
  announce(terminal->device());

  simulate_result result{.messages = modem.messages, .uuid = modem.database.uuid};
  trace_player player(modem.traces, options.source.repeat);
  const play_end end = play_to_reader(*terminal, player, options.pace, result.trace_bytes);
  if (end == play_end::reader_gone) {
    throw user_error(exit_code::run_failed,
                     fmt::format("the program that read {} closed it before it had everything; {} "
                                 "bytes were sent. Start it again for another run.",
                                 platform::path_to_utf8(terminal->device()), result.trace_bytes));
  }
  result.interrupted = end == play_end::interrupted;
  return result;
}

}  // namespace veltra::host
