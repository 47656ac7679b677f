#include "tests/support/keyboard.h"

#include <signal.h>
#include <unistd.h>

namespace test_support {

keyboard::keyboard() = default;

void keyboard::press_ctrl_c() const {
  kill(getpid(), SIGINT);
}

}  // namespace test_support
