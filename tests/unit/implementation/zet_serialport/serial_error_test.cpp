// Names, texts and values of a serial port's errors.
#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "implementation/zet_serialport/zet_serialport_error.h"

namespace zet_serialport_lib {
namespace {

TEST(serial_error, every_value_has_its_number_and_its_name) {
  const std::pair<int, const char*> names[] = {{1, "ERR_SERIALPORT_OPEN"},
                                               {2, "ERR_QUERY_SETTINGS"},
                                               {3, "ERR_ASSIGN_SETTINGS"},
                                               {4, "ERR_TIMEOUT"},
                                               {5, "ERR_READ_TRANSPORT"},
                                               {6, "ERR_WRITE_TRANSPORT"},
                                               {7, "ERR_OPERATION_CANCELLED"},
                                               {8, "ERR_BYTES_AVAILABLE"},
                                               {9, "ERR_GENERIC"}};
  for (const auto& [value, name] : names) {
    EXPECT_STREQ(zet_serialport_error_name(static_cast<zet_serialport_error>(value)), name);
  }
  EXPECT_EQ(ERR_SERIALPORT_OPEN, 1);
  EXPECT_EQ(ERR_OPERATION_CANCELLED, 7);
  EXPECT_EQ(ERR_GENERIC, 9);
}

TEST(serial_error, an_unknown_value_has_a_name_of_its_own) {
  for (const int value : {0, -1, 10, 4711}) {
    EXPECT_STREQ(zet_serialport_error_name(static_cast<zet_serialport_error>(value)),
                 "zet_serialport_error unknown value");
  }
}

TEST(serial_error, an_exception_carries_value_code_and_both_texts) {
  const std::error_code code(ENOENT, std::system_category());
  try {
    raise_serialport_error(ERR_SERIALPORT_OPEN, code, "Win32 open serialport error");
  } catch (const zet_serialport_exception& error) {
    EXPECT_EQ(error.error(), ERR_SERIALPORT_OPEN);
    EXPECT_EQ(error.code(), code);
    EXPECT_EQ(error.what(),
              "error: ERR_SERIALPORT_OPEN message: Win32 open serialport error: " + code.message());
  }
}

TEST(serial_error, an_exception_is_a_system_error_and_a_runtime_error) {
  const zet_serialport_exception error(ERR_TIMEOUT, {0, std::system_category()}, "read timeout");
  EXPECT_NE(dynamic_cast<const std::system_error*>(static_cast<const std::exception*>(&error)),
            nullptr);
  EXPECT_NE(dynamic_cast<const std::runtime_error*>(static_cast<const std::exception*>(&error)),
            nullptr);
}

}  // namespace
}  // namespace zet_serialport_lib
