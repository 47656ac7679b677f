// Ports as Windows knows them.
#include "platform/serial_devices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <system_error>
#include <vector>

#include "host/commands/commands.h"
#include "platform/file.h"
#include "platform/windows/system.h"

namespace {

using platform::port_refusal;
using platform::refusal_of;
using testing::Contains;
using testing::ElementsAre;

// What drivers enter into the registry, for the duration of a test.
class entered_ports {
 public:
  explicit entered_ports(std::vector<std::wstring> ports) : ports_(std::move(ports)) {
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, nullptr,
                              REG_OPTION_VOLATILE, KEY_SET_VALUE, nullptr, &key_, nullptr),
              ERROR_SUCCESS);
    for (const std::wstring& port : ports_) {
      const auto size = static_cast<DWORD>((port.size() + 1) * sizeof(wchar_t));
      EXPECT_EQ(RegSetValueExW(key_, device_of(port).c_str(), 0, REG_SZ,
                               reinterpret_cast<const BYTE*>(port.c_str()), size),
                ERROR_SUCCESS);
    }
  }
  entered_ports(const entered_ports&) = delete;
  entered_ports& operator=(const entered_ports&) = delete;
  ~entered_ports() {
    for (const std::wstring& port : ports_) RegDeleteValueW(key_, device_of(port).c_str());
    RegCloseKey(key_);
  }

 private:
  static std::wstring device_of(const std::wstring& port) { return L"\\Device\\Test" + port; }

  std::vector<std::wstring> ports_;
  HKEY key_ = nullptr;
};

std::vector<std::string> test_ports() {
  std::vector<std::string> names;
  for (const auto& device : platform::list_serial_devices()) {
    const std::string name = platform::path_to_utf8(device.path);
    if (name.starts_with("COM2") && name.size() > 4) names.push_back(name);
  }
  return names;
}

TEST(windows_serial_devices, the_ports_that_drivers_have_entered_are_listed_by_number) {
  const entered_ports ports({L"COM210", L"COM23", L"COM24"});
  EXPECT_THAT(test_ports(), ElementsAre("COM23", "COM24", "COM210"));
}

TEST(windows_serial_devices, a_port_that_is_gone_is_not_listed) {
  { const entered_ports ports({L"COM23"}); }
  EXPECT_THAT(test_ports(), ElementsAre());
}

TEST(windows_serial_devices, who_holds_a_port_is_not_known) {
  const auto holders = platform::find_device_holders("COM23");
  EXPECT_TRUE(holders.seen.empty());
  EXPECT_FALSE(holders.known);
}

TEST(windows_serial_devices, the_list_does_not_call_a_port_free_that_may_be_in_use) {
  platform::serial_device port;
  port.path = "COM23";
  port.driver = "serial";
  EXPECT_EQ(veltra::host::format_devices({port}, {}),
            "PORT   STATE      DEVICE\n"
            "COM23  not known  driver serial\n");
}

TEST(windows_port_refusal, follows_from_the_end_of_the_text) {
  const auto refusal = [](int error) {
    return refusal_of("Win32 open serialport error: " + std::system_category().message(error));
  };
  EXPECT_EQ(refusal(ERROR_FILE_NOT_FOUND), port_refusal::missing);
  EXPECT_EQ(refusal(ERROR_ACCESS_DENIED), port_refusal::busy);
  EXPECT_EQ(refusal(ERROR_SHARING_VIOLATION), port_refusal::busy);
  EXPECT_EQ(refusal(ERROR_INVALID_FUNCTION), port_refusal::not_serial);
  EXPECT_EQ(refusal(ERROR_INVALID_PARAMETER), port_refusal::other);
}

}  // namespace
