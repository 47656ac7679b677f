#include "host/run/port_failure.h"

#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <system_error>

#include "tests/support/system_errors.h"

namespace {

namespace port_error = test_support::port_error;
using testing::HasSubstr;
using testing::StartsWith;
using veltra::host::exit_code;
using veltra::host::explain_port_failure;
using veltra::host::user_error;

user_error explain(const std::string& message, std::string_view remark = {},
                   const platform::device_holders& holders = {}) {
  const auto error = explain_port_failure({100, message}, "/dev/ttyUSB0", remark, holders);
  if (error) return *error;
  ADD_FAILURE() << "no explanation of " << message;
  return {exit_code::internal, ""};
}

std::string open_failed(int error) {
  return "error: ERR_SERIALPORT_OPEN message: Win32 open serialport error: " +
         std::system_category().message(error);
}

std::string query_failed(int error) {
  return "error: ERR_QUERY_SETTINGS message: Win32 GetCommState error: " +
         std::system_category().message(error);
}

TEST(port_failure, a_missing_port_points_to_the_list) {
  const user_error error = explain(open_failed(port_error::missing));
  EXPECT_EQ(error.code(), exit_code::bad_input);
  EXPECT_STREQ(error.what(),
               "there is no port /dev/ttyUSB0; \"veltra devices\" lists those there are.");
}

TEST(port_failure, a_port_in_use_names_the_programs_that_use_it) {
  EXPECT_STREQ(
      explain(open_failed(port_error::busy), "", {{{7, "terminal"}, {9, ""}}, true}).what(),
      "/dev/ttyUSB0 is in use by terminal (process 7), a program (process 9); end that "
      "program first.");
  EXPECT_STREQ(explain(open_failed(port_error::busy)).what(),
               "/dev/ttyUSB0 is in use by another program; end that program first.");
}

// Some systems refuse to open such a file, others only to report line settings.
TEST(port_failure, a_file_that_is_not_a_serial_port_is_called_so) {
  for (const std::string& message :
       {open_failed(port_error::not_serial), query_failed(port_error::not_serial)}) {
    EXPECT_STREQ(explain(message).what(),
                 "/dev/ttyUSB0 is not a serial port; \"veltra devices\" lists those there are.");
  }
}

TEST(port_failure, any_other_refusal_keeps_the_systems_words) {
  for (const std::string& message :
       {open_failed(port_error::other), query_failed(port_error::other)}) {
    EXPECT_THAT(explain(message).what(),
                HasSubstr(std::system_category().message(port_error::other)));
  }
  EXPECT_THAT(explain(query_failed(port_error::other)).what(),
              StartsWith("/dev/ttyUSB0 does not report its line settings ("));
}

TEST(port_failure, settings_that_the_line_does_not_support_are_named) {
  const user_error error =
      explain("error: ERR_ASSIGN_SETTINGS message: Win32 SetCommState error: Invalid argument");
  EXPECT_EQ(error.code(), exit_code::bad_input);
  EXPECT_THAT(error.what(),
              StartsWith("/dev/ttyUSB0 does not support these line settings (Invalid argument); "));
}

TEST(port_failure, a_lost_device_says_what_is_kept) {
  const user_error error = explain("port closed: No such device", "; all is kept");
  EXPECT_EQ(error.code(), exit_code::run_failed);
  EXPECT_STREQ(error.what(),
               "/dev/ttyUSB0 was lost (port closed: No such device); all is kept. Check the cable "
               "and the modem's power.");
  EXPECT_STREQ(explain("serialcommunication error").what(),
               "/dev/ttyUSB0 was lost (serialcommunication error). Check the cable and the modem's "
               "power.");
}

TEST(port_failure, any_other_failure_is_not_explained) {
  EXPECT_FALSE(explain_port_failure({22, "End of file reached"}, "/dev/ttyUSB0", "", {}));
}

}  // namespace
