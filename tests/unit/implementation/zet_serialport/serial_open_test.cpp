// Opening a serial port: the device, the line settings, what fails and what then
// holds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "implementation/zet_serialport/win32/zet_serialport_win32.h"
#include "implementation/zet_serialport/zet_serialport.h"
#include "tests/unit/implementation/zet_serialport/scripted_serial_api.h"

namespace zet_serialport_lib {
namespace {

using serial_test::operation;
using serial_test::scripted_serial_api;
using ::testing::ElementsAre;

std::uint32_t flag_word(const platform::serial::DCB& dcb) {
  std::uint32_t flags = 0;
  std::memcpy(&flags, reinterpret_cast<const char*>(&dcb) + 8, sizeof flags);
  return flags;
}

void set_flag_word(platform::serial::DCB& dcb, std::uint32_t flags) {
  std::memcpy(reinterpret_cast<char*>(&dcb) + 8, &flags, sizeof flags);
}

bool same_bits(const platform::serial::DCB& left, const platform::serial::DCB& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

// Every byte, and every bit of the flag word, set to `fill`.
platform::serial::DCB reported_with(std::uint8_t fill) {
  platform::serial::DCB dcb;
  std::memset(&dcb, fill, sizeof dcb);
  return dcb;
}

class serial_open : public ::testing::Test {
 protected:
  serial_open() { script_.restart(); }
  ~serial_open() override { EXPECT_EQ(script_.misuses(), 0); }

  static scripted_serial_api& script() { return scripted_serial_api::instance(); }

  // The failure of opening the port, checked against the frame of every message.
  void expect_open_fails(zet_serialport& port, zet_serialport_error error, int code,
                         const std::string& name, const std::string& context) {
    try {
      port.open(zet_serialport_settings{}, true);
      FAIL() << "opened";
    } catch (const zet_serialport_exception& failure) {
      const std::error_code expected(code, std::system_category());
      EXPECT_EQ(failure.error(), error);
      EXPECT_EQ(failure.code(), expected);
      EXPECT_EQ(failure.what(),
                "error: " + name + " message: " + context + ": " + expected.message());
    }
  }

  scripted_serial_api& script_ = script();
};

TEST_F(serial_open, two_named_events_live_from_construction_to_destruction) {
  {
    const zet_serialport port("COM1");
    EXPECT_THAT(script_.event_names(),
                ElementsAre("ZetSerialportAbortRxEvent", "ZetSerialportAbortWriteEvent"));
    EXPECT_EQ(script_.open_events(), 2);
    EXPECT_EQ(script_.calls(operation::create_file), 0);
    EXPECT_FALSE(port.is_open());
    EXPECT_EQ(port.port_name(), "COM1");
  }
  EXPECT_EQ(script_.open_events(), 0);
}

TEST_F(serial_open, a_name_that_begins_with_COM_is_opened_in_the_device_namespace) {
  const std::pair<const char*, const char*> names[] = {{"COM3", "\\\\.\\COM3"},
                                                       {"COM12", "\\\\.\\COM12"},
                                                       {"COM", "\\\\.\\COM"},
                                                       {"XCOM3", "XCOM3"},
                                                       {"com3", "com3"},
                                                       {"\\\\.\\COM3", "\\\\.\\COM3"},
                                                       {"/dev/ttyUSB0", "/dev/ttyUSB0"},
                                                       {"CO", "CO"},
                                                       {"", ""}};
  for (const auto& [name, device] : names) {
    zet_serialport port(name);
    port.open(std::nullopt, false);
    EXPECT_EQ(script_.opened_device(), device);
  }
}

TEST_F(serial_open, the_device_is_opened_for_overlapped_reads_and_alone) {
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  EXPECT_THAT(script_.create_file_arguments(),
              ElementsAre(0xC0000000U, 0U, 0U, 3U, 0x40000000U, 0U));
}

TEST_F(serial_open, the_steps_come_in_order) {
  zet_serialport port("COM1");
  port.open(zet_serialport_settings{}, true);
  ASSERT_TRUE(script_.await_calls(operation::wait, 1));
  EXPECT_THAT(
      script_.history(),
      ElementsAre(operation::create_event, operation::create_event, operation::create_file,
                  operation::reset_event, operation::reset_event, operation::get_comm_state,
                  operation::set_comm_state, operation::purge_comm, operation::clear_comm_error,
                  operation::create_event, operation::read_file, operation::wait));
  EXPECT_TRUE(port.is_open());
}

TEST_F(serial_open, without_settings_the_line_is_left_as_it_is) {
  zet_serialport port("COM1");
  port.open(std::nullopt, true);
  EXPECT_EQ(script_.calls(operation::get_comm_state), 0);
  EXPECT_EQ(script_.calls(operation::set_comm_state), 0);
}

TEST_F(serial_open, purging_drops_all_that_is_pending_and_queued) {
  zet_serialport port("COM1");
  port.open(std::nullopt, true);
  EXPECT_EQ(script_.purge_flags(), 15U);
  EXPECT_EQ(script_.calls(operation::purge_comm), 1);
}

TEST_F(serial_open, without_the_purge_flag_nothing_is_dropped) {
  zet_serialport port("COM1");
  port.open(zet_serialport_settings{}, false);
  EXPECT_EQ(script_.calls(operation::purge_comm), 0);
}

TEST_F(serial_open, a_failing_purge_does_not_keep_the_port_from_receiving) {
  script_.fail(operation::purge_comm, EIO);
  script_.deliver("abc");
  zet_serialport port("COM1");
  port.open(zet_serialport_settings{}, true);
  std::string output;
  port.read(output, 3);
  EXPECT_EQ(output, "abc");
}

TEST_F(serial_open, a_device_that_does_not_open_leaves_the_port_closed) {
  script_.fail(operation::create_file, ENOENT);
  zet_serialport port("COM1");
  expect_open_fails(port, ERR_SERIALPORT_OPEN, ENOENT, "ERR_SERIALPORT_OPEN",
                    "Win32 open serialport error");
  EXPECT_FALSE(port.is_open());
  script_.pass(operation::create_file);
  port.open(std::nullopt, false);
  EXPECT_TRUE(port.is_open());
}

TEST_F(serial_open, settings_that_cannot_be_read_leave_the_port_open_until_close) {
  script_.fail(operation::get_comm_state, EIO);
  zet_serialport port("COM1");
  expect_open_fails(port, ERR_QUERY_SETTINGS, EIO, "ERR_QUERY_SETTINGS",
                    "Win32 GetCommState error");
  EXPECT_TRUE(port.is_open());
  // A later open does nothing at all, and so does not fail either.
  port.open(zet_serialport_settings{}, true);
  EXPECT_EQ(script_.calls(operation::create_file), 1);
  EXPECT_EQ(script_.calls(operation::get_comm_state), 1);
  EXPECT_EQ(script_.calls(operation::clear_comm_error), 0);
  port.close();
  EXPECT_FALSE(port.is_open());
  EXPECT_EQ(script_.open_ports(), 0);
}

TEST_F(serial_open, settings_that_the_line_does_not_take_leave_the_port_open_until_close) {
  script_.fail(operation::set_comm_state, EINVAL);
  zet_serialport port("COM1");
  expect_open_fails(port, ERR_ASSIGN_SETTINGS, EINVAL, "ERR_ASSIGN_SETTINGS",
                    "Win32 SetCommState error");
  EXPECT_TRUE(port.is_open());
  EXPECT_EQ(script_.calls(operation::purge_comm), 0);
  port.close();
  script_.pass(operation::set_comm_state);
  port.open(zet_serialport_settings{}, true);
  EXPECT_TRUE(port.is_open());
}

TEST_F(serial_open, opening_an_open_port_changes_nothing) {
  zet_serialport port("COM1");
  port.open(std::nullopt, false);
  ASSERT_TRUE(script_.await_calls(operation::wait, 1));
  const auto before = script_.history();
  port.open(zet_serialport_settings{}, true);
  EXPECT_EQ(script_.history(), before);
}

TEST_F(serial_open, the_events_are_reset_on_every_open) {
  zet_serialport port("COM1");
  for (int round = 1; round <= 3; ++round) {
    port.open(std::nullopt, false);
    EXPECT_EQ(script_.calls(operation::reset_event), 2 * round);
    port.close();
  }
  EXPECT_EQ(script_.open_ports(), 0);
}

TEST_F(serial_open, destruction_closes_the_port) {
  {
    zet_serialport port("COM1");
    port.open(std::nullopt, false);
  }
  EXPECT_EQ(script_.open_ports(), 0);
  EXPECT_EQ(script_.open_events(), 0);
}

// The device control block that a record asks for, from the definition of its
// flag word: clear 0x6B6C, set 0x1090, then what the mode adds.
platform::serial::DCB expected_block(platform::serial::DCB dcb,
                                     const zet_serialport_settings& settings) {
  std::uint32_t flags = flag_word(dcb);
  if (settings.baud_rate) dcb.BaudRate = *settings.baud_rate;
  if (settings.character_size) dcb.ByteSize = *settings.character_size;
  if (settings.parity) {
    dcb.Parity = static_cast<std::uint8_t>(*settings.parity);
    flags = (flags & ~0x2U) | (*settings.parity == parity::none ? 0U : 0x2U);
  }
  if (settings.stop_bits) dcb.StopBits = static_cast<std::uint8_t>(*settings.stop_bits);
  if (settings.flow_control) {
    flags = (flags & ~0x6B6CU) | 0x1090U;
    if (*settings.flow_control == flow_control::software) flags |= 0x300U;
    if (*settings.flow_control == flow_control::hardware) flags = (flags & ~0x3000U) | 0x2004U;
  }
  dcb.DCBlength = 28;
  set_flag_word(dcb, flags | 1U);
  return dcb;
}

TEST_F(serial_open, the_device_control_block_is_right_for_all_combinations) {
  const std::optional<std::uint32_t> speeds[] = {std::nullopt, 1000000U, 4294967295U};
  const std::optional<std::uint8_t> sizes[] = {std::nullopt, std::uint8_t{5}, std::uint8_t{8},
                                               std::uint8_t{255}};
  const std::optional<parity> parities[] = {std::nullopt, parity::none, parity::odd, parity::even};
  const std::optional<stop_bits> stops[] = {std::nullopt, stop_bits::one, stop_bits::one_and_a_half,
                                            stop_bits::two};
  const std::optional<flow_control> flows[] = {std::nullopt, flow_control::none,
                                               flow_control::software, flow_control::hardware};
  int combinations = 0;
  for (const std::uint8_t fill : std::initializer_list<std::uint8_t>{0x00, 0xFF, 0x55, 0xAA}) {
    script_.set_comm_state(reported_with(fill));
    for (const auto& speed : speeds) {
      for (const auto& size : sizes) {
        for (const auto& parity_mode : parities) {
          for (const auto& stop : stops) {
            for (const auto& flow : flows) {
              const zet_serialport_settings settings{speed, parity_mode, stop, flow, size};
              zet_serialport_win32 transport;
              transport.open("COM1");
              transport.apply(settings);
              const auto port = transport.release();
              ASSERT_TRUE(same_bits(script_.assigned_settings(),
                                    expected_block(reported_with(fill), settings)))
                  << to_string(settings) << "on " << int{fill};
              ++combinations;
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(combinations, 4 * 3 * 4 * 4 * 4 * 4);
}

TEST_F(serial_open, an_empty_record_changes_only_the_length_and_binary_mode) {
  const auto reported = reported_with(0x00);
  script_.set_comm_state(reported);
  zet_serialport port("COM1");
  port.open(zet_serialport_settings{}, false);
  auto expected = reported;
  expected.DCBlength = 28;
  expected.fBinary = 1;
  EXPECT_EQ(script_.calls(operation::get_comm_state), 1);
  EXPECT_EQ(script_.calls(operation::set_comm_state), 1);
  EXPECT_TRUE(same_bits(script_.assigned_settings(), expected));
}

TEST_F(serial_open, no_flow_control_still_raises_DTR_and_RTS_and_ends_all_handshakes) {
  script_.set_comm_state(reported_with(0xFF));
  zet_serialport port("COM1");
  zet_serialport_settings settings;
  settings.flow_control = flow_control::none;
  port.open(settings, false);
  const auto dcb = script_.assigned_settings();
  EXPECT_EQ(dcb.fDtrControl, platform::serial::DTR_CONTROL_ENABLE);
  EXPECT_EQ(dcb.fRtsControl, platform::serial::RTS_CONTROL_ENABLE);
  EXPECT_EQ(dcb.fOutxCtsFlow, 0U);
  EXPECT_EQ(dcb.fOutxDsrFlow, 0U);
  EXPECT_EQ(dcb.fOutX, 0U);
  EXPECT_EQ(dcb.fInX, 0U);
  EXPECT_EQ(dcb.fErrorChar, 1U);
  EXPECT_EQ(dcb.XonLim, 0xFFFF);
}

TEST_F(serial_open, values_outside_the_enumerations_mean_no_parity_and_the_stop_bits_read) {
  script_.set_comm_state(reported_with(0xFF));
  zet_serialport port("COM1");
  zet_serialport_settings settings;
  settings.parity = static_cast<parity>(9);
  settings.stop_bits = static_cast<stop_bits>(9);
  port.open(settings, false);
  EXPECT_EQ(script_.assigned_settings().Parity, platform::serial::NOPARITY);
  EXPECT_EQ(script_.assigned_settings().fParity, 0U);
  EXPECT_EQ(script_.assigned_settings().StopBits, 0xFF);
}

class serial_open_death : public serial_open {
 protected:
  serial_open_death() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(serial_open_death, an_abort_event_that_cannot_be_reset_is_a_broken_contract) {
  zet_serialport port("COM1");
  script_.fail(operation::reset_event, EBADF);
  EXPECT_DEATH(port.open(std::nullopt, false), "ResetEvent\\(rx_worker_pipe\\)");
}

TEST_F(serial_open_death, an_event_that_is_the_invalid_handle_is_a_broken_contract) {
  script_.give_named_events(platform::serial::INVALID_HANDLE_VALUE);
  EXPECT_DEATH(zet_serialport("COM1"), "zet_serialport_win32.*INVALID_HANDLE_VALUE");
}

TEST_F(serial_open_death, a_missing_event_goes_unnoticed_until_it_is_reset) {
  EXPECT_DEATH(
      {
        script().fail(operation::create_event, ENOMEM);
        zet_serialport port("COM1");
        script().pass(operation::create_event);
        port.open(std::nullopt, false);
      },
      "ResetEvent\\(rx_worker_pipe\\)");
}

}  // namespace
}  // namespace zet_serialport_lib
