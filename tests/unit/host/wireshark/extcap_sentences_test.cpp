#include "host/wireshark/extcap_sentences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "host/commands/extcap_command_line.h"

namespace veltra::host {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

platform::serial_device device(const char* path) {
  platform::serial_device result;
  result.path = path;
  return result;
}

platform::serial_device usb_device() {
  platform::serial_device result = device("/dev/ttyUSB2");
  result.manufacturer = "Maker";
  result.product = "LTE Module";
  result.serial_number = "0123";
  return result;
}

TEST(ExtcapInterfaces, ADeviceIsAnInterfaceUnderItsOwnNameWithPortAndSerialNumber) {
  EXPECT_THAT(lines_of(format_interfaces({usb_device()})),
              Contains("interface {value=veltra-ttyUSB2}"
                       "{display=Maker LTE Module on ttyUSB2, serial number 0123}"));
}

TEST(ExtcapInterfaces, APortThatSaysNothingOfItselfIsASerialPort) {
  EXPECT_THAT(lines_of(format_interfaces({device("/dev/ttyS0")})),
              Contains("interface {value=veltra-ttyS0}{display=Serial port on ttyS0}"));
}

TEST(ExtcapInterfaces, BracesInADevicesNameDoNotEndTheValue) {
  platform::serial_device odd = device("/dev/ttyUSB0");
  odd.product = "a}{value=b";
  EXPECT_THAT(lines_of(format_interfaces({odd})),
              Contains("interface {value=veltra-ttyUSB0}{display=a)(value=b on ttyUSB0}"));
}

TEST(ExtcapInterfaces, WithoutDevicesThereIsStillAnInterfaceForAnyOtherPort) {
  const std::vector<std::string> lines = lines_of(format_interfaces({}));
  EXPECT_THAT(lines.front(), testing::StartsWith("extcap {version="));
  EXPECT_THAT(lines, Contains("interface {value=veltra}{display=LTE modem on another port}"));
  EXPECT_THAT(lines, Contains(testing::StartsWith("control {number=0}{type=button}{role=logger}")));
  EXPECT_THAT(lines, Contains(testing::StartsWith("control {number=1}{type=string}")));
}

TEST(ExtcapInterfaces, AnInterfaceLeadsBackToItsPort) {
  EXPECT_EQ(port_of_interface("veltra-ttyUSB2", {usb_device()}), "/dev/ttyUSB2");
  EXPECT_EQ(port_of_interface("veltra", {usb_device()}), "");
}

TEST(ExtcapInterfaces, AnUnpluggedDevicesInterfaceStillNamesItsPort) {
  EXPECT_EQ(port_of_interface("veltra-ttyUSB7", {usb_device()}), "ttyUSB7");
}

TEST(ExtcapConfig, FieldsAreNumberedFromZeroAndValuesBelongToTheFieldBefore) {
  int fields = 0;
  for (const std::string& line : lines_of(format_config("veltra"))) {
    int number = -1;
    int end = 0;
    char type[16] = {};
    std::sscanf(line.c_str(), "arg {number=%d}{call=--%*[a-z-]}{display=%*[^}]}{type=%15[a-z]}%n",
                &number, type, &end);
    if (end != 0) {
      EXPECT_EQ(number, fields++) << line;
      EXPECT_THAT(std::string(type),
                  AnyOf("string", "unsigned", "selector", "fileselect", "boolflag"))
          << line;
      continue;
    }
    std::sscanf(line.c_str(), "value {arg=%d}{value=%*[^}]}{display=%*[^}]}%n", &number, &end);
    ASSERT_NE(end, 0) << line;
    EXPECT_EQ(number, fields - 1) << line;
  }
  EXPECT_EQ(fields, 12);
}

TEST(ExtcapConfig, EverySelectorHasOnePreset) {
  const std::string config = format_config("veltra");
  const auto count = [&config](const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = config.find(part); at != config.npos; at = config.find(part, at + 1)) {
      ++found;
    }
    return found;
  };
  EXPECT_EQ(count("{type=selector}"), 4U);
  EXPECT_EQ(count("{default=true}"), 4U);
}

TEST(ExtcapConfig, OnlyTheInterfaceForOtherPortsAsksForThePort) {
  EXPECT_THAT(format_config("veltra"), HasSubstr("{call=--port}"));
  EXPECT_THAT(format_config("veltra-ttyUSB2"), Not(HasSubstr("{call=--port}")));
}

TEST(ExtcapLinkTypes, AnInterfaceHasOne) {
  EXPECT_THAT(lines_of(format_dlts("veltra-ttyUSB2")),
              ElementsAre("dlt {number=252}{name=veltra-ttyUSB2}{display=LTE modem trace}"));
}

TEST(ExtcapCalls, AreKnownByTheirOptionsAndByTheNameOfTheLink) {
  EXPECT_TRUE(is_extcap_call({"/usr/bin/veltra", "--extcap-interfaces"}));
  EXPECT_TRUE(is_extcap_call({"veltra", "--capture", "--extcap-interface", "veltra"}));
  EXPECT_TRUE(is_extcap_call({"/usr/lib/wireshark/extcap/veltra-extcap"}));
  EXPECT_FALSE(is_extcap_call({"/usr/bin/veltra", "capture", "--port", "x"}));
  EXPECT_FALSE(is_extcap_call({}));
}

}  // namespace
}  // namespace veltra::host
