#include "host/run/port_failure.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <system_error>

namespace {

TEST(port_failure, a_lack_of_permission_names_the_group) {
  const auto error = veltra::host::explain_port_failure(
      {100, "error: ERR_SERIALPORT_OPEN message: Win32 open serialport error: " +
                std::system_category().message(EACCES)},
      "/dev/ttyUSB0", "", {});
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), testing::HasSubstr("dialout"));
}

}  // namespace
