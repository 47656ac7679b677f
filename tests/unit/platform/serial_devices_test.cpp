#include "platform/serial_devices.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "platform/pseudo_terminal.h"
#include "tests/support/temp_directory.h"

namespace {

namespace fs = std::filesystem;
using platform::device_holder;
using platform::device_roots;
using platform::find_device_holders;
using platform::list_serial_devices;
using platform::port_refusal;
using platform::refusal_of;
using platform::serial_device;
using testing::ElementsAre;
using testing::IsEmpty;

// A machine of files.
class serial_devices : public testing::Test {
 protected:
  serial_devices() {
    fs::create_directories(roots.classes);
    fs::create_directories(roots.devices);
    fs::create_directories(roots.processes);
  }

  fs::path make_directory(const fs::path& below) {
    const fs::path path = root.path() / below;
    fs::create_directories(path);
    return path;
  }

  void link(const fs::path& name, const fs::path& target) {
    fs::create_directories(name.parent_path());
    fs::create_directory_symlink(target, name);
  }

  // A port of a USB adapter, in the depth that the kernel gives it.
  void add_usb_port(const std::string& name, const std::string& serial_number) {
    const std::string usb = "sys/devices/pci0000:00/usb1/1-" + serial_number;
    const fs::path port = make_directory(usb + "/1-1:1.0/" + name);
    const fs::path tty = make_directory(usb + "/1-1:1.0/" + name + "/tty/" + name);
    link(tty / "device", port);
    link(port / "driver", make_directory("sys/bus/usb-serial/drivers/ftdi_sio"));
    link(port / "subsystem", make_directory("sys/bus/usb-serial"));
    root.write(usb + "/idVendor", "0403\n");
    root.write(usb + "/idProduct", "6001\n");
    root.write(usb + "/manufacturer", "Some Maker\n");
    root.write(usb + "/product", "USB <-> Serial \n");
    root.write(usb + "/serial", serial_number + "\n");
    link(roots.classes / name, tty);
    root.write("dev/" + name, "");
  }

  // A port of the serial core: the type says whether there is hardware.
  void add_core_port(const std::string& name, const std::string& type) {
    const fs::path port = make_directory("sys/devices/pnp0/00:01/00:01:0/00:01:0.0");
    const fs::path tty = make_directory("sys/devices/pnp0/00:01/00:01:0/00:01:0.0/tty/" + name);
    if (!fs::exists(port / "driver")) {
      link(port / "driver", make_directory("sys/bus/serial-base/drivers/port"));
      link(port / "subsystem", make_directory("sys/bus/serial-base"));
      link(root.path() / "sys/devices/pnp0/00:01/driver",
           make_directory("sys/bus/pnp/drivers/serial"));
      link(root.path() / "sys/devices/pnp0/00:01/subsystem", make_directory("sys/bus/pnp"));
    }
    link(tty / "device", port);
    root.write(fs::relative(tty / "type", root.path()).string(), type + "\n");
    link(roots.classes / name, tty);
  }

  void add_process(const std::string& number, const std::string& name, const fs::path& opened) {
    root.write("proc/" + number + "/comm", name + "\n");
    link(roots.processes / number / "fd" / "7", opened);
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& device : list_serial_devices(roots)) {
      found.push_back(device.path.filename().string());
    }
    return found;
  }

  test_support::temp_directory root;
  const device_roots roots{root.path() / "dev", root.path() / "sys/class/tty",
                           root.path() / "proc"};
};

TEST_F(serial_devices, a_usb_port_is_listed_with_what_its_device_says_of_itself) {
  add_usb_port("ttyUSB0", "A50285BI");
  const auto found = list_serial_devices(roots);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].path, roots.devices / "ttyUSB0");
  EXPECT_EQ(found[0].driver, "ftdi_sio");
  EXPECT_EQ(found[0].manufacturer, "Some Maker");
  EXPECT_EQ(found[0].product, "USB <-> Serial");
  EXPECT_EQ(found[0].serial_number, "A50285BI");
  EXPECT_EQ(found[0].vendor_id, "0403");
  EXPECT_EQ(found[0].product_id, "6001");
}

TEST_F(serial_devices, a_port_that_is_not_on_usb_has_only_its_driver) {
  add_core_port("ttyS0", "4");
  const auto found = list_serial_devices(roots);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].driver, "serial");
  EXPECT_EQ(found[0].vendor_id, "");
  EXPECT_EQ(found[0].product, "");
}

TEST_F(serial_devices, a_port_without_hardware_behind_it_is_not_listed) {
  add_core_port("ttyS0", "4");
  add_core_port("ttyS1", "0");
  make_directory("sys/class/tty/tty7");
  make_directory("sys/class/tty/ptmx");
  EXPECT_THAT(names(), ElementsAre("ttyS0"));
}

TEST_F(serial_devices, the_order_counts_numbers) {
  for (const char* name : {"ttyUSB10", "ttyUSB2", "ttyACM3"}) add_usb_port(name, name);
  EXPECT_THAT(names(), ElementsAre("ttyACM3", "ttyUSB2", "ttyUSB10"));
}

TEST_F(serial_devices, control_characters_in_a_description_are_left_out) {
  add_usb_port("ttyUSB0", "1");
  root.write("sys/devices/pci0000:00/usb1/1-1/product", "\x1b[31mred\x7f\tport\nsecond line");
  EXPECT_EQ(list_serial_devices(roots).at(0).product, "[31mredport");
}

TEST_F(serial_devices, a_machine_without_the_directories_has_no_ports) {
  EXPECT_THAT(list_serial_devices({root.path() / "none", root.path() / "none", {}}), IsEmpty());
}

TEST_F(serial_devices, holders_are_named) {
  add_usb_port("ttyUSB0", "1");
  const fs::path device = roots.devices / "ttyUSB0";
  add_process("812", "terminal", device);
  add_process("97", "logger", device);
  add_process("5", "other", roots.devices / "ttyUSB1");
  root.write("proc/uptime", "1");
  const auto holders = find_device_holders(device, roots);
  EXPECT_THAT(holders.seen,
              ElementsAre(device_holder{97, "logger"}, device_holder{812, "terminal"}));
  EXPECT_TRUE(holders.complete);
}

TEST_F(serial_devices, a_holder_is_found_through_a_symbolic_link_to_the_device) {
  add_usb_port("ttyUSB0", "1");
  add_process("1", "terminal", roots.devices / "ttyUSB0");
  fs::create_symlink(roots.devices / "ttyUSB0", root.path() / "dev/modem");
  EXPECT_EQ(find_device_holders(root.path() / "dev/modem", roots).seen.size(), 1U);
}

TEST_F(serial_devices, a_device_that_is_not_there_has_no_holders) {
  EXPECT_THAT(find_device_holders(roots.devices / "ttyUSB0", roots).seen, IsEmpty());
}

TEST_F(serial_devices, processes_that_may_not_be_looked_into_are_reported) {
  if (geteuid() == 0) GTEST_SKIP() << "root may look into everything";
  add_usb_port("ttyUSB0", "1");
  add_process("1", "terminal", roots.devices / "ttyUSB0");
  fs::permissions(roots.processes / "1" / "fd", fs::perms::none);
  const auto holders = find_device_holders(roots.devices / "ttyUSB0", roots);
  fs::permissions(roots.processes / "1" / "fd", fs::perms::owner_all);
  EXPECT_THAT(holders.seen, IsEmpty());
  EXPECT_FALSE(holders.complete);
}

TEST(serial_devices_here, this_process_is_seen_to_hold_a_line) {
  const platform::pseudo_terminal line;
  const auto holders = find_device_holders(line.device());
  ASSERT_EQ(holders.seen.size(), 1U);
  EXPECT_EQ(holders.seen[0].process, static_cast<unsigned long>(getpid()));
  EXPECT_TRUE(platform::may_open_device(line.device()));
  EXPECT_FALSE(platform::may_open_device("/nowhere/ttyUSB0"));
}

// A process that has pseudo-terminals of its own mounted, as one in a container has,
// and that holds the line which is called `device` there, until the object dies.
class holder_in_a_container {
 public:
  explicit holder_in_a_container(const fs::path& device) {
    int ready[2];
    if (pipe(ready) != 0) throw std::system_error(errno, std::system_category());
    process_ = fork();
    if (process_ == 0) {
      // Lines that were open before are held by the process that opened them.
      close_range(3, static_cast<unsigned>(ready[1]) - 1, 0);
      const char held = hold(device.c_str()) ? 1 : 0;
      (void)!write(ready[1], &held, 1);
      for (;;) pause();
    }
    char held = 0;
    holds_ = read(ready[0], &held, 1) == 1 && held == 1;
    close(ready[0]);
    close(ready[1]);
  }
  holder_in_a_container(const holder_in_a_container&) = delete;
  holder_in_a_container& operator=(const holder_in_a_container&) = delete;
  ~holder_in_a_container() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

  // False where this user may not mount anything.
  bool holds() const { return holds_; }

 private:
  static bool hold(const char* device) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        mount("devpts", "/dev/pts", "devpts", 0, "newinstance,ptmxmode=0666") != 0) {
      return false;
    }
    for (;;) {
      const int line = open("/dev/pts/ptmx", O_RDWR | O_NOCTTY);
      if (line < 0 || unlockpt(line) != 0) return false;
      if (open(device, O_RDWR | O_NOCTTY) >= 0) return true;
    }
  }

  pid_t process_ = -1;
  bool holds_ = false;
};

TEST(serial_devices_here, a_device_of_the_same_name_in_a_container_is_another_one) {
  const platform::pseudo_terminal line;
  const holder_in_a_container other(line.device());
  if (!other.holds()) GTEST_SKIP() << "this user may not mount anything";
  EXPECT_EQ(find_device_holders(line.device()).seen.size(), 1U);
}

TEST(serial_devices_here, the_real_system_is_read_without_failure) {
  for (const serial_device& device : list_serial_devices()) EXPECT_FALSE(device.path.empty());
}

TEST(port_refusal, follows_from_the_end_of_the_text) {
  const auto text = [](int error) {
    return "Win32 open serialport error: " + std::system_category().message(error);
  };
  EXPECT_EQ(refusal_of(text(ENOENT)), port_refusal::missing);
  EXPECT_EQ(refusal_of(text(EBUSY)), port_refusal::busy);
  EXPECT_EQ(refusal_of(text(EACCES)), port_refusal::denied);
  EXPECT_EQ(refusal_of(text(ENOTTY)), port_refusal::not_serial);
  EXPECT_EQ(refusal_of(text(EISDIR)), port_refusal::not_serial);
  EXPECT_EQ(refusal_of(text(EIO)), port_refusal::other);
}

}  // namespace
