// The one operation of the serial transport that is not Win32's own.
#include "platform/windows/serial_api.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

struct closer {
  void operator()(void* handle) const { CloseHandle(handle); }
};
using event = std::unique_ptr<void, closer>;

event named_event() {
  return event(platform::serial::CreateEventA(nullptr, TRUE, FALSE, "VeltraTestEvent"));
}

bool is_set(const event& which) {
  return WaitForSingleObject(which.get(), 0) == WAIT_OBJECT_0;
}

TEST(windows_serial_api, two_events_with_one_name_are_two_events) {
  const event first = named_event();
  const event second = named_event();
  ASSERT_TRUE(first && second);
  SetEvent(first.get());
  EXPECT_TRUE(is_set(first));
  EXPECT_FALSE(is_set(second));
}

TEST(windows_serial_api, the_first_event_has_the_name) {
  const event first = named_event();
  const event second = named_event();
  const event found(OpenEventA(EVENT_MODIFY_STATE, FALSE, "VeltraTestEvent"));
  ASSERT_TRUE(found);
  SetEvent(found.get());
  EXPECT_TRUE(is_set(first));
  EXPECT_FALSE(is_set(second));
}

TEST(windows_serial_api, a_name_is_free_again_with_its_event) {
  named_event();
  const event found(OpenEventA(EVENT_MODIFY_STATE, FALSE, "VeltraTestEvent"));
  EXPECT_FALSE(found);
}

}  // namespace
