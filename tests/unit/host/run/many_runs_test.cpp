#include "host/run/many_runs.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

#include "host/run/interrupt_relay.h"
#include "host/user_error.h"
#include "tests/support/event_count.h"
#include "tests/support/keyboard.h"

namespace veltra::host {
namespace {

using test_support::event_count;
using testing::HasSubstr;

TEST(many_runs, a_failure_is_shown_at_once_and_costs_no_other_run) {
  event_count shown;
  std::string lines;
  const exit_code code =
      run_side_by_side({[&](run_group&) {
                          shown.take();  // this run ends after the other has failed
                          return exit_code::ok;
                        },
                        [](run_group&) -> exit_code {
                          throw user_error(exit_code::bad_input, "there is no port x");
                        }},
                       [&](std::string_view line) {
                         lines += line;
                         shown.add();
                       });
  EXPECT_EQ(code, exit_code::bad_input);
  EXPECT_EQ(lines, "veltra: there is no port x\n");
}

TEST(many_runs, the_first_failure_in_the_list_decides_the_exit_code) {
  const auto ends_with = [](exit_code code) { return [code](run_group&) { return code; }; };
  const auto show = [](std::string_view) {};
  EXPECT_EQ(run_side_by_side({ends_with(exit_code::ok), ends_with(exit_code::nothing_decoded),
                              ends_with(exit_code::output_failed)},
                             show),
            exit_code::nothing_decoded);
  EXPECT_EQ(run_side_by_side({ends_with(exit_code::ok), ends_with(exit_code::ok)}, show),
            exit_code::ok);
}

TEST(many_runs, a_defect_is_reported_as_one) {
  std::string lines;
  EXPECT_EQ(
      run_side_by_side({[](run_group&) -> exit_code { throw std::runtime_error("no thread"); }},
                       [&](std::string_view line) { lines += line; }),
      exit_code::internal);
  EXPECT_THAT(lines, HasSubstr("internal error: no thread"));
}

TEST(many_runs, ctrl_c_reaches_all) {
  const test_support::keyboard keyboard;
  event_count running;
  const grouped_run until_ctrl_c = [&](run_group& group) {
    event_count requested;
    const interrupt_relay::subscription requests(group.interrupts, [&] { requested.add(); });
    running.add();
    requested.take();
    return exit_code::ok;
  };
  // On a thread that the watch has made safe from the key.
  const grouped_run person = [&](run_group&) {
    running.take();
    running.take();
    keyboard.press_ctrl_c();
    return exit_code::ok;
  };
  EXPECT_EQ(run_side_by_side({until_ctrl_c, until_ctrl_c, person}, [](std::string_view) {}),
            exit_code::ok);
}

TEST(interrupt_relay, a_run_that_begins_late_gets_earlier_requests) {
  interrupt_relay relay;
  relay.request();
  relay.request();
  int count = 0;
  {
    const interrupt_relay::subscription late(relay, [&] { ++count; });
    EXPECT_EQ(count, 2);
    relay.request();
  }
  relay.request();
  EXPECT_EQ(count, 3);
}

}  // namespace
}  // namespace veltra::host
