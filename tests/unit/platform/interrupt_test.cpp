#include "platform/interrupt.h"

#include <gtest/gtest.h>

#include "tests/support/event_count.h"
#include "tests/support/keyboard.h"

namespace {

using platform::interrupt_watch;

TEST(interrupt, each_ctrl_c_becomes_a_call) {
  const test_support::keyboard keyboard;
  test_support::event_count calls;
  const interrupt_watch watch([&] { calls.add(); });
  keyboard.press_ctrl_c();
  calls.take();
  keyboard.press_ctrl_c();
  calls.take();
}

}  // namespace
