// The ports are those that drivers enter into the registry; what is behind them is
// known to the device tree.
#include "platform/serial_devices.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "platform/serial_device_tools.h"
#include "platform/windows/text.h"
#include "platform/windows/usb_identity.h"

// The order matters: each needs what is before it.
// clang-format off
#include "platform/windows/system.h"
#include <cfgmgr32.h>
#include <initguid.h>  // has the next define the identifiers
#include <devguid.h>
#include <setupapi.h>
// clang-format on

namespace platform {

namespace {

// In characters; the longest that the registry and the device tree hold are shorter.
constexpr DWORD max_text_length = 1024;
// From a port up to its USB device there are only a few steps.
constexpr int max_parents = 16;

class registry_key {
 public:
  explicit registry_key(HKEY key) : key_(key) {}
  registry_key(const registry_key&) = delete;
  registry_key& operator=(const registry_key&) = delete;
  ~registry_key() {
    if (key_ != nullptr) RegCloseKey(key_);
  }

  HKEY get() const { return key_; }

 private:
  HKEY key_;
};

// A text as the registry holds it: with or without NULs at its end.
std::string text_of(const wchar_t* text, DWORD bytes) {
  const std::wstring_view whole(text, bytes / sizeof(wchar_t));
  std::string result = to_utf8(whole.substr(0, whole.find(L'\0')));
  std::erase_if(result, [](unsigned char each) { return each < ' ' || each == 127; });
  return result;
}

// The names of all ports. Every driver of ports enters them here as it starts.
std::vector<std::string> port_names() {
  HKEY opened = nullptr;
  RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_QUERY_VALUE,
                &opened);
  const registry_key key(opened);
  std::vector<std::string> names;
  if (key.get() == nullptr) return names;
  for (DWORD index = 0;; ++index) {
    wchar_t device[max_text_length];
    DWORD device_length = max_text_length;
    wchar_t port[max_text_length];
    DWORD port_bytes = sizeof port;
    DWORD type = 0;
    const LSTATUS status = RegEnumValueW(key.get(), index, device, &device_length, nullptr, &type,
                                         reinterpret_cast<BYTE*>(port), &port_bytes);
    if (status == ERROR_MORE_DATA) continue;
    if (status != ERROR_SUCCESS) return names;
    if (type == REG_SZ) names.push_back(text_of(port, port_bytes));
  }
}

// The devices of one setup class that are present.
class device_set {
 public:
  explicit device_set(const GUID& setup_class)
      : set_(SetupDiGetClassDevsW(&setup_class, nullptr, nullptr, DIGCF_PRESENT)) {}
  device_set(const device_set&) = delete;
  device_set& operator=(const device_set&) = delete;
  ~device_set() {
    if (set_ != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(set_);
  }

  std::optional<SP_DEVINFO_DATA> at(DWORD index) const {
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    if (SetupDiEnumDeviceInfo(set_, index, &device) == FALSE) return std::nullopt;
    return device;
  }

  std::string property(SP_DEVINFO_DATA device, DWORD which) const {
    wchar_t text[max_text_length];
    DWORD bytes = 0;
    DWORD type = 0;
    if (SetupDiGetDeviceRegistryPropertyW(set_, &device, which, &type,
                                          reinterpret_cast<BYTE*>(text), sizeof text,
                                          &bytes) == FALSE ||
        type != REG_SZ) {
      return {};
    }
    return text_of(text, bytes);
  }

  std::string port_name(SP_DEVINFO_DATA device) const {
    const HKEY opened =
        SetupDiOpenDevRegKey(set_, &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_QUERY_VALUE);
    if (opened == INVALID_HANDLE_VALUE) return {};
    const registry_key key(opened);
    wchar_t text[max_text_length];
    DWORD bytes = sizeof text;
    if (RegQueryValueExW(key.get(), L"PortName", nullptr, nullptr, reinterpret_cast<BYTE*>(text),
                         &bytes) != ERROR_SUCCESS) {
      return {};
    }
    return text_of(text, bytes);
  }

 private:
  HDEVINFO set_;
};

// What the device, or the USB device that it is a part of, is named.
usb_identity identity_of(DEVINST device) {
  usb_identity identity;
  for (int i = 0; i < max_parents; ++i) {
    wchar_t id[MAX_DEVICE_ID_LEN + 1] = {};
    if (CM_Get_Device_IDW(device, id, MAX_DEVICE_ID_LEN, 0) != CR_SUCCESS) break;
    const usb_identity found = read_usb_identity(to_utf8(id));
    // Above the device there are hubs, which are USB devices of another identity.
    const bool same =
        found.vendor_id == identity.vendor_id && found.product_id == identity.product_id;
    if (!identity.vendor_id.empty() && !same) break;
    if (!found.vendor_id.empty()) identity = found;
    if (!identity.serial_number.empty()) break;
    if (CM_Get_Parent(&device, device, 0) != CR_SUCCESS) break;
  }
  return identity;
}

serial_device describe(const device_set& set, const SP_DEVINFO_DATA& found) {
  usb_identity usb = identity_of(found.DevInst);
  serial_device device;
  device.driver = set.property(found, SPDRP_SERVICE);
  device.manufacturer = set.property(found, SPDRP_MFG);
  device.product = set.property(found, SPDRP_DEVICEDESC);
  device.serial_number = std::move(usb.serial_number);
  device.vendor_id = std::move(usb.vendor_id);
  device.product_id = std::move(usb.product_id);
  return device;
}

// By the port's name.
std::map<std::string, serial_device> describe_devices() {
  std::map<std::string, serial_device> devices;
  for (const GUID& setup_class : {GUID_DEVCLASS_PORTS, GUID_DEVCLASS_MODEM}) {
    const device_set set(setup_class);
    for (DWORD index = 0; const auto found = set.at(index); ++index) {
      if (std::string name = set.port_name(*found); !name.empty()) {
        devices.emplace(std::move(name), describe(set, *found));
      }
    }
  }
  return devices;
}

}  // namespace

std::vector<serial_device> list_serial_devices(const device_roots& /*roots*/) {
  const std::vector<std::string> names = port_names();
  if (names.empty()) return {};
  std::map<std::string, serial_device> known = describe_devices();
  std::vector<serial_device> devices;
  for (const std::string& name : names) {
    serial_device& device = devices.emplace_back(std::move(known[name]));
    device.path = to_wide(name);
  }
  sort_by_name(devices);
  return devices;
}

std::filesystem::path stable_device_name(const std::filesystem::path& device,
                                         const device_roots& /*roots*/) {
  return device;
}

bool device_exists(const std::filesystem::path& device) {
  const std::vector<serial_device> devices = list_serial_devices();
  return std::any_of(devices.begin(), devices.end(),
                     [&device](const serial_device& each) { return each.path == device; });
}

device_holders find_device_holders(const std::filesystem::path& /*device*/,
                                   const device_roots& /*roots*/) {
  return {.seen = {}, .complete = false, .known = false};
}

bool may_open_device(const std::filesystem::path& /*device*/) {
  return true;
}

port_refusal refusal_of(std::string_view description) {
  // A port that another program has open denies access to everybody else.
  constexpr known_refusal known[] = {{ERROR_FILE_NOT_FOUND, port_refusal::missing},
                                     {ERROR_PATH_NOT_FOUND, port_refusal::missing},
                                     {ERROR_DEV_NOT_EXIST, port_refusal::missing},
                                     {ERROR_ACCESS_DENIED, port_refusal::busy},
                                     {ERROR_SHARING_VIOLATION, port_refusal::busy},
                                     {ERROR_INVALID_FUNCTION, port_refusal::not_serial},
                                     {ERROR_INVALID_HANDLE, port_refusal::not_serial}};
  return find_refusal(description, known);
}

}  // namespace platform
