#include "host/commands/machine_check.h"

#include <gmock/gmock.h>

#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;

class machine_check_test : public testing::Test {
 protected:
  platform::serial_device device(const char* name) const {
    platform::serial_device device;
    device.path = directory_.write(name, "");
    return device;
  }

  test_support::temp_directory directory_;
  platform::device_roots roots_{directory_.path(), directory_.path(), directory_.path() / "proc"};
};

TEST_F(machine_check_test, one_free_port_is_enough) {
  const platform::serial_device held = device("ttyUSB0");
  const platform::serial_device idle = device("ttyUSB1");
  directory_.write("proc/812/comm", "terminal\n");
  std::filesystem::create_directories(directory_.path() / "proc/812/fd");
  std::filesystem::create_symlink(held.path, directory_.path() / "proc/812/fd/3");
  const auto both = check_ports("", {held, idle}, roots_);
  ASSERT_THAT(both, SizeIs(2));
  EXPECT_EQ(both[0].state, check_state::missing);
  EXPECT_THAT(both[0].found, HasSubstr("in use by terminal (process 812)"));
  EXPECT_EQ(both[1].state, check_state::ok);
  EXPECT_TRUE(would_capture(both));
  EXPECT_FALSE(would_capture(check_ports("", {held}, roots_)));
  EXPECT_FALSE(would_capture(check_ports(platform::path_to_utf8(held.path), {held, idle}, roots_)))
      << "the port that is asked for counts";
}

TEST_F(machine_check_test, without_a_port_a_capture_would_not_work) {
  EXPECT_FALSE(would_capture(check_ports("", {}, roots_)));
  const auto gone = check_ports(platform::path_to_utf8(directory_.path() / "no"), {}, roots_);
  ASSERT_THAT(gone, SizeIs(1));
  EXPECT_EQ(gone[0].state, check_state::failed);
  EXPECT_EQ(gone[0].found, "does not exist");
}

TEST_F(machine_check_test, a_plug_in_that_is_not_there_is_a_failure) {
  EXPECT_FALSE(would_capture(check_plugin(platform::path_to_utf8(directory_.path() / "no.kovax"))));
}

TEST_F(machine_check_test, a_cache_without_a_catalogue_fails_and_a_location_out_of_reach_does_not) {
  database_options options;
  options.cache = platform::path_to_utf8(directory_.path() / "cache");
  options.locations = {"file:///nowhere/config.json"};
  const auto results = check_databases(options);
  ASSERT_THAT(results, SizeIs(2));
  EXPECT_EQ(results[0].state, check_state::failed);
  EXPECT_THAT(results[0].found, HasSubstr("has no catalogue yet"));
  EXPECT_EQ(results[1].state, check_state::missing);
  EXPECT_THAT(results[1].found, HasSubstr("file:///nowhere/config.json: "));
}

TEST_F(machine_check_test, a_location_with_a_catalogue_is_fine_and_nothing_is_kept) {
  database_options options;
  const auto file =
      platform::path_to_utf8(directory_.write("config.json", R"({"firmwares": {"devices": []}})"));
  options.locations = {"${root}config.json"};
  options.root = "file://" + std::string(file.starts_with('/') ? "" : "/") +
                 file.substr(0, file.size() - std::string("config.json").size());
  const auto results = check_databases(options);
  ASSERT_THAT(results, SizeIs(1));
  EXPECT_EQ(results[0].state, check_state::ok) << results[0].found;
}

TEST(format_checks, has_the_advice_below_its_line_and_controls_no_terminal) {
  const std::vector<check_result> results = {{"plug-in", check_state::ok, "a\x1b"},
                                             {"ports", check_state::failed, "none", "plug in"}};
  EXPECT_EQ(format_checks(results),
            "ok      plug-in: a?\n"
            "failed  ports: none\n"
            "        plug in\n");
  const auto report = kovax::json::parse(format_checks_json(results));
  EXPECT_EQ(report["works"], false);
  EXPECT_EQ(report["checks"][1]["advice"], "plug in");
}

}  // namespace
}  // namespace veltra::host
