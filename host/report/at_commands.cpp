#include "host/report/at_commands.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace veltra::report {

namespace {

bool is_success(std::string_view line) {
  return line == "OK" || line.starts_with("CONNECT");
}

bool is_refusal(std::string_view line) {
  constexpr std::array<std::string_view, 6> whole = {"ERROR",       "NO CARRIER", "BUSY",
                                                     "NO DIALTONE", "NO ANSWER",  "ABORTED"};
  return line.starts_with("+CME ERROR:") || line.starts_with("+CMS ERROR:") ||
         std::find(whole.begin(), whole.end(), line) != whole.end();
}

// The text of a short message also goes to the modem, as a part of its command.
bool is_command(const message& line) {
  return line.name.starts_with("AT") || line.name.starts_with("at");
}

// The line of a text that is a final result code; empty if there is none.
std::string_view result_line(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (is_success(line) || is_refusal(line)) return line;
    text.remove_prefix(std::min(text.size(), line.size() + 1));
  }
  return {};
}

}  // namespace

std::vector<at_command> find_at_commands(const std::vector<message>& messages) {
  std::vector<at_command> result;
  std::optional<at_command> running;
  const auto close = [&] {
    if (running) result.push_back(std::move(*running));
    running.reset();
  };
  for (const message& line : messages) {
    if (line.clock_restarted) close();
    if (line.layer != layer::at || line.traces_lost != 0) continue;
    if (is_command(line)) {
      if (running && running->command == line.name) continue;  // the modem's echo
      close();
      running = at_command{.first_frame = line.frame,
                           .last_frame = line.frame,
                           .begin = line.time,
                           .end = line.time,
                           .command = line.name,
                           .result = {},
                           .is_error = false};
      continue;
    }
    const std::string_view final_line = result_line(line.name);
    if (!running || final_line.empty()) continue;
    running->last_frame = line.frame;
    running->end = line.time;
    running->result = final_line;
    running->is_error = !is_success(final_line);
    close();
  }
  close();
  return result;
}

std::string at_command_name(const std::string& command) {
  const std::size_t end = command.find_first_of("=?;\n ");
  // ATD and its like have their parameter right behind them.
  if (end == std::string::npos && !command.starts_with("AT+")) return command.substr(0, 3);
  return command.substr(0, command.starts_with("ATD") ? 3 : end);
}

int last_registration_state(const std::vector<message>& messages) {
  int state = -1;
  for (const message& line : messages) {
    if (line.layer != layer::at || !line.name.starts_with("+CEREG: ")) continue;
    // As a report "+CEREG: 1,…", as an answer "+CEREG: 3,1,…" with the setting in front: a second
    // number follows without quotation marks only there.
    const std::string_view values = std::string_view(line.name).substr(8);
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (values.empty() || !digit(values[0])) continue;
    const bool is_answer = values.size() > 2 && values[1] == ',' && digit(values[2]);
    state = values[is_answer ? 2 : 0] - '0';
  }
  return state;
}

}  // namespace veltra::report
