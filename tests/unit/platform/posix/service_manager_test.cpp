#include "platform/service_manager.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "tests/support/temp_directory.h"

namespace platform {
namespace {

class service_manager : public testing::Test {
 protected:
  service_manager() {
    const std::string path = (directory_.path() / "notify").string();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
  }
  ~service_manager() override {
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    close(socket_);
  }

  std::string received() const {
    char bytes[100];
    const ssize_t count = recv(socket_, bytes, sizeof bytes, MSG_DONTWAIT);
    return count < 0 ? "nothing" : std::string(bytes, static_cast<std::size_t>(count));
  }

 private:
  const test_support::temp_directory directory_;
  const int socket_ = socket(AF_UNIX, SOCK_DGRAM, 0);
};

TEST_F(service_manager, gets_each_state_as_a_datagram) {
  EXPECT_TRUE(notify_service_manager("READY=1"));
  EXPECT_TRUE(notify_service_manager("WATCHDOG=1"));
  EXPECT_EQ(received(), "READY=1");
  EXPECT_EQ(received(), "WATCHDOG=1");
  EXPECT_EQ(received(), "nothing");
}

TEST_F(service_manager, that_is_not_there_costs_nothing) {
  setenv("NOTIFY_SOCKET", "/nowhere/notify", 1);
  EXPECT_FALSE(notify_service_manager("READY=1"));
  setenv("NOTIFY_SOCKET", std::string(500, 'x').c_str(), 1);
  EXPECT_FALSE(notify_service_manager("READY=1"));
  unsetenv("NOTIFY_SOCKET");
  EXPECT_FALSE(notify_service_manager("READY=1"));
  EXPECT_EQ(received(), "nothing");
}

TEST_F(service_manager, says_how_often_it_wants_a_sign_of_life) {
  EXPECT_EQ(watchdog_interval(), std::nullopt);
  setenv("WATCHDOG_USEC", "30000000", 1);
  EXPECT_EQ(watchdog_interval(), std::chrono::seconds(30));
  for (const char* text : {"", "x", "-1", "0", "1x"}) {
    setenv("WATCHDOG_USEC", text, 1);
    EXPECT_EQ(watchdog_interval(), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace platform
