#include "tests/unit/implementation/zet_serialport/pseudo_terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace serial_test {

namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::system_category(), what);
}

}  // namespace

pseudo_terminal::pseudo_terminal() : modem_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  if (modem_ < 0) fail("posix_openpt");
  char name[128] = {};
  if (grantpt(modem_) != 0 || unlockpt(modem_) != 0 || ptsname_r(modem_, name, sizeof name) != 0) {
    fail("ptsname_r");
  }
  device_ = name;
}

pseudo_terminal::~pseudo_terminal() {
  hang_up();
}

void pseudo_terminal::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const auto written = write(modem_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail("write");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::string pseudo_terminal::receive() const {
  char bytes[256];
  const auto count = read(modem_, bytes, sizeof bytes);
  if (count < 0) fail("read");
  return {bytes, static_cast<std::size_t>(count)};
}

void pseudo_terminal::hang_up() {
  if (modem_ >= 0) close(modem_);
  modem_ = -1;
}

}  // namespace serial_test
