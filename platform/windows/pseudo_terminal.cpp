// Windows has no pseudo-terminals that another program could open as a port:
// those are made by drivers. The constructor says so; nothing else can be reached.
#include "platform/pseudo_terminal.h"

#include <system_error>

namespace platform {

struct pseudo_terminal::state {
  std::filesystem::path device;
};

pseudo_terminal::pseudo_terminal() {
  throw std::system_error(std::make_error_code(std::errc::operation_not_supported),
                          "Windows has no pseudo-terminals");
}

pseudo_terminal::~pseudo_terminal() = default;

const std::filesystem::path& pseudo_terminal::device() const {
  return state_->device;
}

pseudo_terminal::outcome pseudo_terminal::wait_for_reader(std::chrono::milliseconds /*settling*/,
                                                          std::chrono::milliseconds /*quiet*/) {
  return outcome::interrupted;
}

pseudo_terminal::outcome pseudo_terminal::write(std::string_view /*bytes*/) {
  return outcome::interrupted;
}

pseudo_terminal::outcome pseudo_terminal::drain(std::chrono::milliseconds /*grace*/) {
  return outcome::interrupted;
}

pseudo_terminal::outcome pseudo_terminal::sleep_until(
    std::chrono::steady_clock::time_point /*when*/) {
  return outcome::interrupted;
}

void pseudo_terminal::interrupt() noexcept {}

}  // namespace platform
