#include "tests/support/modem_line.h"

#include <winerror.h>

#include <stdexcept>

#include "platform/environment.h"
#include "tests/support/far_end_protocol.h"

namespace test_support {

namespace {

tcp_socket connect_to_far_end() {
  const auto port = platform::find_environment_variable(far_end_variable);
  if (!port) throw std::runtime_error("a line needs the program far_end, which was not started");
  return tcp_socket::connected_to(static_cast<std::uint16_t>(std::stoul(*port)));
}

}  // namespace

struct modem_line::state {
  state() : far_end(connect_to_far_end()), device(answer()) {}

  std::string answer() {
    std::optional<std::string> text = far_end.read_text();
    if (!text) throw std::runtime_error("far_end has given a line up; it says why");
    return *std::move(text);
  }

  outcome request(const std::string& text, std::string_view bytes = {}) {
    far_end.send(text + "\n");
    far_end.send(bytes);
    return static_cast<outcome>(std::stoi(answer()));
  }

  far_end_connection far_end;
  std::string device;
};

modem_line::modem_line() : state_(std::make_unique<state>()) {}

modem_line::~modem_line() {
  state_->far_end.send("close\n");
  state_->far_end.read_text();
}

const std::string& modem_line::device() const {
  return state_->device;
}

modem_line::outcome modem_line::wait_for_reader(std::chrono::milliseconds settling) {
  return state_->request("wait " + std::to_string(settling.count()));
}

modem_line::outcome modem_line::write(std::string_view bytes) {
  return state_->request("write " + std::to_string(bytes.size()), bytes);
}

modem_line::outcome modem_line::drain(std::chrono::milliseconds grace) {
  return state_->request("drain " + std::to_string(grace.count()));
}

const line_errors& system_line_errors() {
  // As Wine puts it, which opens a port again for root, whom no lock of a terminal
  // holds off.
  static const line_errors errors{.missing = ERROR_FILE_NOT_FOUND,
                                  .busy = 0,
                                  .lost = {ERROR_BROKEN_PIPE, ERROR_IO_DEVICE, ERROR_NOT_READY},
                                  .refused_setting = ERROR_NOT_SUPPORTED};
  return errors;
}

}  // namespace test_support
