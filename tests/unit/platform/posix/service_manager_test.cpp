#include "platform/service_manager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>

#include "tests/support/environment_variable.h"
#include "tests/support/posix/notify_socket.h"

namespace platform {
namespace {

using test_support::change_environment;

TEST(service_manager, gets_each_state_as_a_datagram) {
  const test_support::notify_socket manager;
  EXPECT_TRUE(notify_service_manager("READY=1"));
  EXPECT_TRUE(notify_service_manager("WATCHDOG=1"));
  EXPECT_EQ(manager.received(), "READY=1; WATCHDOG=1");
}

TEST(service_manager, that_is_not_there_costs_nothing) {
  const test_support::notify_socket manager;
  change_environment("NOTIFY_SOCKET", "/nowhere/notify");
  EXPECT_FALSE(notify_service_manager("READY=1"));
  change_environment("NOTIFY_SOCKET", std::string(500, 'x'));
  EXPECT_FALSE(notify_service_manager("READY=1"));
  change_environment("NOTIFY_SOCKET", std::nullopt);
  EXPECT_FALSE(notify_service_manager("READY=1"));
  EXPECT_EQ(manager.received(), "");
}

TEST(service_manager, says_how_often_it_wants_a_sign_of_life) {
  const test_support::notify_socket manager;
  EXPECT_EQ(watchdog_interval(), std::nullopt);
  change_environment("WATCHDOG_USEC", "30000000");
  EXPECT_EQ(watchdog_interval(), std::chrono::seconds(30));
  for (const char* text : {"", "x", "-1", "0", "1x"}) {
    change_environment("WATCHDOG_USEC", text);
    EXPECT_EQ(watchdog_interval(), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace platform
