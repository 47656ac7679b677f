#include <gtest/gtest.h>

#include <filesystem>

#include "platform/serial_devices.h"
#include "tests/support/temp_directory.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

class stable_name : public testing::Test {
 protected:
  // A port, and a link to it as udev makes them.
  fs::path link(const char* kind, const char* name, const fs::path& target) {
    const fs::path path = directory_.path() / "serial" / kind / name;
    fs::create_directories(path.parent_path());
    fs::create_symlink(target, path);
    return path;
  }

  const test_support::temp_directory directory_;
  const device_roots roots_{.devices = fs::canonical(directory_.path())};
  const fs::path port_ = directory_.write("ttyUSB3", "");
};

TEST_F(stable_name, is_that_of_the_hardware) {
  link("by-path", "pci-0", port_);
  link("by-id", "usb-other", directory_.write("ttyUSB4", ""));
  const fs::path by_id = link("by-id", "usb-modem-if00", port_);
  EXPECT_TRUE(fs::equivalent(stable_device_name(port_, roots_), by_id));
  EXPECT_EQ(stable_device_name(port_, roots_).filename(), "usb-modem-if00");
}

TEST_F(stable_name, is_that_of_the_socket_for_hardware_without_one) {
  link("by-path", "pci-0", port_);
  EXPECT_EQ(stable_device_name(port_, roots_).filename(), "pci-0");
}

TEST_F(stable_name, is_the_ports_own_where_there_is_no_other) {
  EXPECT_EQ(stable_device_name(port_, roots_), port_);
  EXPECT_EQ(stable_device_name("/nowhere/ttyUSB0", roots_), "/nowhere/ttyUSB0");
}

TEST_F(stable_name, belongs_to_whatever_port_has_the_hardware_now) {
  const fs::path by_id = link("by-id", "usb-modem-if00", port_);
  EXPECT_TRUE(device_exists(by_id));
  fs::remove(port_);
  EXPECT_FALSE(device_exists(by_id));
  fs::remove(by_id);
  link("by-id", "usb-modem-if00", directory_.write("ttyUSB5", ""));
  EXPECT_TRUE(device_exists(by_id));
}

}  // namespace
}  // namespace platform
