#include "host/run/service_reports.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/support/posix/notify_socket.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;
using time_point = service_reports::time_point;

// A service manager that wants a sign of life every two seconds.
class service_reports_test : public testing::Test {
 protected:
  std::string received() const { return manager_.received(); }

 private:
  const test_support::notify_socket manager_{"2000000"};
};

TEST_F(service_reports_test, the_first_run_with_its_input_makes_the_service_ready) {
  service_reports reports(2);
  service_reports::member first(reports);
  service_reports::member second(reports);
  first.tick(false, time_point(1h));
  EXPECT_EQ(received(), "WATCHDOG=1");
  second.tick(true, time_point(1h));
  EXPECT_EQ(received(), "READY=1");
  first.tick(true, time_point(1h));
  EXPECT_EQ(received(), "");
}

TEST_F(service_reports_test, a_run_that_hangs_is_not_hidden_by_the_others) {
  service_reports reports(2);
  service_reports::member first(reports);
  {
    service_reports::member hanging(reports);
    first.tick(false, time_point(1h));
    hanging.tick(false, time_point(1h));
    received();
    first.tick(false, time_point(1h + 1s));
    EXPECT_EQ(received(), "WATCHDOG=1");  // both have ticked since the latest sign
    first.tick(false, time_point(1h + 2s));
    first.tick(false, time_point(1h + 3s));
    EXPECT_EQ(received(), "");
    hanging.tick(false, time_point(1h + 4s));
    EXPECT_EQ(received(), "WATCHDOG=1");
  }
  // One that has ended is not waited for.
  first.tick(false, time_point(1h + 5s));
  EXPECT_EQ(received(), "WATCHDOG=1");
}

TEST_F(service_reports_test, the_service_stops_with_its_last_run) {
  service_reports reports(2);
  service_reports::member first(reports);
  { const service_reports::member refused(reports); }
  EXPECT_EQ(received(), "");
  first.end();
  EXPECT_EQ(received(), "STOPPING=1");
}

}  // namespace
}  // namespace veltra::host
