#include "host/wireshark/toolbar.h"

#include <chrono>

#include "host/wireshark/extcap_sentences.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// Wireshark takes no message that is longer.
constexpr std::size_t max_payload = 65535 - 2;
constexpr std::chrono::milliseconds patience{500};

char byte_of(std::size_t value, int shift) {
  return static_cast<char>(value >> shift & 0xff);
}

}  // namespace

std::string toolbar_message(unsigned control, toolbar_command command, std::string_view payload) {
  payload = payload.substr(0, max_payload);
  const std::size_t length = 2 + payload.size();
  std::string message = {'T',
                         byte_of(length, 16),
                         byte_of(length, 8),
                         byte_of(length, 0),
                         static_cast<char>(control),
                         static_cast<char>(command)};
  message += payload;
  return message;
}

toolbar::toolbar(const std::filesystem::path& pipe) : writer_(patience) {
  if (pipe.empty()) return;
  pipe_.reset(platform::open_file(pipe, platform::open_mode::write));
  writer_.limit_writes();
  send(log_control, toolbar_command::set, "");
}

void toolbar::set_state(std::string_view text) {
  send(state_control, toolbar_command::set, text);
}

void toolbar::log(std::string_view lines) {
  send(log_control, toolbar_command::add, lines);
}

void toolbar::send(unsigned control, toolbar_command command, std::string_view payload) {
  if (!pipe_) return;
  if (writer_.write(pipe_.get(), toolbar_message(control, command, payload)) != 0) pipe_.reset();
}

}  // namespace veltra::host
