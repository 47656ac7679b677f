#include <gmock/gmock.h>

#include <string>

#include "host/commands/commands.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace {

using platform::serial_device;
using veltra::host::format_devices;

std::string padded(std::string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

TEST(devices, no_ports_make_no_table) {
  EXPECT_EQ(format_devices({}, {}), "");
}

TEST(devices, a_port_is_shown_with_its_state_and_what_is_known_of_it) {
  const test_support::temp_directory root;
  const platform::device_roots roots{root.path(), root.path(), root.path() / "proc"};
  const auto held = root.write("ttyUSB0", "");
  const auto idle = root.write("ttyS0", "");
  root.write("proc/812/comm", "terminal\n");
  std::filesystem::create_directories(root.path() / "proc/812/fd");
  std::filesystem::create_symlink(held, root.path() / "proc/812/fd/3");

  serial_device on_board;
  on_board.path = idle;
  on_board.driver = "serial";
  serial_device adapter;
  adapter.path = held;
  adapter.driver = "ftdi_sio";
  adapter.manufacturer = "Some Maker";
  adapter.product = "Adapter";
  adapter.serial_number = "A5";
  adapter.vendor_id = "0403";
  adapter.product_id = "6001";
  serial_device vanished;
  vanished.path = root.path() / "ttyS1";

  const auto port = [&](const std::string& name) {
    return padded(platform::path_to_utf8(root.path() / name),
                  platform::path_to_utf8(held).size() + 2);
  };
  const auto state = [](const std::string& text) {
    return padded(text, std::string("in use by terminal (process 812)").size() + 2);
  };
  EXPECT_EQ(format_devices({on_board, adapter, vanished}, roots),
            padded("PORT", port("").size()) + state("STATE") + "DEVICE\n" +  //
                port("ttyS0") + state("free") + "driver serial\n" +          //
                port("ttyUSB0") + state("in use by terminal (process 812)") +
                "Some Maker Adapter, USB 0403:6001, serial number A5, driver ftdi_sio\n" +
                port("ttyS1") + "no permission\n");
}

TEST(devices, programs_get_the_same_as_json) {
  const test_support::temp_directory root;
  const platform::device_roots roots{root.path(), root.path(), root.path() / "proc"};
  serial_device adapter;
  adapter.path = root.write("ttyUSB0", "");
  adapter.driver = "ftdi_sio";
  adapter.product = "Adapter \xff";
  adapter.vendor_id = "0403";
  const auto list = kovax::json::parse(veltra::host::format_devices_json({adapter}, roots));
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].at("port"), platform::path_to_utf8(adapter.path));
  EXPECT_EQ(list[0].at("driver"), "ftdi_sio");
  EXPECT_EQ(list[0].at("product"), "Adapter \xef\xbf\xbd");
  EXPECT_EQ(list[0].at("usb_vendor_id"), "0403");
  EXPECT_EQ(list[0].at("serial_number"), "");
  EXPECT_EQ(veltra::host::format_devices_json({}, roots), "[]\n");
}

}  // namespace
