#include "platform/interrupt.h"

#include <gtest/gtest.h>

#include <semaphore>

#include "tests/support/keyboard.h"

namespace {

using platform::interrupt_watch;

TEST(interrupt, each_ctrl_c_becomes_a_call) {
  const test_support::keyboard keyboard;
  std::counting_semaphore<> calls(0);
  const interrupt_watch watch([&] { calls.release(); });
  keyboard.press_ctrl_c();
  calls.acquire();
  keyboard.press_ctrl_c();
  calls.acquire();
}

}  // namespace
