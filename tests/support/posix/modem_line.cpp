#include "tests/support/modem_line.h"

#include <cerrno>

#include "platform/file.h"

namespace test_support {

struct modem_line::state {
  platform::pseudo_terminal line;
  std::string device = platform::path_to_utf8(line.device());
};

modem_line::modem_line() : state_(std::make_unique<state>()) {}

modem_line::~modem_line() = default;

const std::string& modem_line::device() const {
  return state_->device;
}

modem_line::outcome modem_line::wait_for_reader(std::chrono::milliseconds settling) {
  return state_->line.wait_for_reader(settling, std::chrono::milliseconds(0));
}

modem_line::outcome modem_line::write(std::string_view bytes) {
  return state_->line.write(bytes);
}

modem_line::outcome modem_line::drain(std::chrono::milliseconds grace) {
  return state_->line.drain(grace);
}

const line_errors& system_line_errors() {
  static const line_errors errors{
      .missing = ENOENT, .busy = EBUSY, .lost = {ENODEV}, .refused_setting = EINVAL};
  return errors;
}

}  // namespace test_support
