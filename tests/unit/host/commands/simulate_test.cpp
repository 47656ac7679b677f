#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "host/commands/command_line.h"
#include "host/simulate/simulation.h"
#include "implementation/json.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/frame_reader.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

// A small session in a directory of its own.
class simulate_test : public testing::Test {
 protected:
  simulate_test() {
    write("s.tsv", "#h\n10\tat\t4f4b\n20\tip\t45\n");
    options_.session = at("s.tsv");
    options_.trace = at("t.bin");
    options_.database = at("d.json");
  }

  void write(const char* name, std::string_view bytes) const { directory_.write(name, bytes); }
  fs::path at(const std::string& name) const { return directory_.path() / name; }
  std::string name_of(const char* name) const { return platform::path_to_utf8(at(name)); }
  std::vector<std::string> names() const { return names_in(directory_.path()); }
  std::vector<read_frame> frames() const { return read_frames(content(options_.trace)); }

  simulate_result simulate(const std::function<bool()>& stopped = [] { return false; }) const {
    return simulation(options_).write(stopped);
  }

  std::string refusal(exit_code code) const {
    return refusal_of([this] { simulate(); }, code);
  }

  static exit_code run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"veltra", "simulate"});
    return run_command_line(arguments);
  }
  exit_code run_to(const std::string& trace, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {name_of("s.tsv"), "--trace", trace, "--database",
                                          name_of("d.json")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run(arguments);
  }

  // What is reported of a command line that is wrong.
  static std::string usage_failure_of(const std::vector<std::string>& arguments) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(arguments), exit_code::usage);
    return testing::internal::GetCapturedStderr();
  }

  test_support::temp_directory directory_;
  simulate_options options_;
};

TEST_F(simulate_test, trace_and_database_are_written) {
  const simulate_result result = simulate();
  EXPECT_THAT(names(), ElementsAre("d.json", "s.tsv", "t.bin"));
  const std::string trace = content(at("t.bin"));
  EXPECT_EQ(result.trace_bytes, trace.size());
  EXPECT_EQ(result.messages, 2U);
  ASSERT_EQ(frames().size(), 3U);
  EXPECT_EQ(frames()[1].timestamp_ns, 10000U);
  EXPECT_EQ(frames()[2].timestamp_ns, 20000U);
  EXPECT_EQ(kovax::json::parse(content(at("d.json"))).at("meta").at("uuid"), result.uuid);
  // As the search for a database reads it in the raw stream.
  const std::size_t marker = trace.find("UID %s");
  ASSERT_NE(marker, std::string::npos);
  EXPECT_EQ(trace.substr(marker + 7, 36), result.uuid);
}

TEST_F(simulate_test, a_run_that_is_stopped_leaves_whole_files) {
  options_.repeat = 1'000'000;
  const simulate_result result = simulate([] { return true; });
  EXPECT_TRUE(result.interrupted);
  EXPECT_GT(frames().size(), 1000U);
  EXPECT_LT(frames().size(), 1'000'000U);
  EXPECT_EQ(kovax::json::parse(content(at("d.json"))).at("meta").at("uuid"), result.uuid);
  EXPECT_THAT(names(), ElementsAre("d.json", "s.tsv", "t.bin"));
}

// The place is good when the run begins, and not any more when it ends.
TEST_F(simulate_test, a_database_that_cannot_get_its_name_leaves_no_trace) {
  options_.repeat = 1'000'000;
  const auto take_the_name = [this] { return fs::create_directory(at("d.json")); };
  EXPECT_THAT(refusal_of([&] { simulate(take_the_name); }, exit_code::output_failed),
              HasSubstr("d.json"));
  EXPECT_THAT(names(), ElementsAre("d.json", "s.tsv"));
}

TEST_F(simulate_test, a_database_that_goes_away_leaves_an_earlier_one) {
  write("d.json", "earlier");
  options_.repeat = 1'000'000;
  bool removed = false;
  const auto remove_it = [&] {
    for (const std::string& name : names()) {
      std::error_code ignored;
      if (name.starts_with("d.json.")) removed = fs::remove(at(name), ignored);
    }
    return true;
  };
  try {
    simulate(remove_it);
    if (!removed) GTEST_SKIP() << "an open file cannot be removed here";
    ADD_FAILURE() << "nothing was refused";
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), exit_code::output_failed);
  }
  EXPECT_EQ(content(at("d.json")), "earlier");
  EXPECT_THAT(names(), ElementsAre("d.json", "s.tsv"));
}

TEST_F(simulate_test, the_same_input_gives_the_same_bytes) {
  for (const std::string database : {"d.json", "d.tar.gz"}) {
    options_.trace = at("t.bin");
    options_.database = at(database);
    simulate();
    options_.trace = at("other.bin");
    options_.database = at("other-" + database);
    simulate();
    EXPECT_EQ(content(at("other.bin")), content(at("t.bin")));
    EXPECT_EQ(content(at("other-" + database)), content(at(database)));
  }
}

TEST_F(simulate_test, a_name_that_ends_in_gz_makes_an_archive) {
  for (const char* name : {"d.tar.gz", "d.gz"}) {
    options_.database = at(name);
    simulate();
    EXPECT_EQ(content(at(name)).substr(0, 2), "\x1F\x8B") << name;
  }
}

TEST_F(simulate_test, earlier_files_are_replaced) {
  write("t.bin", "old");
  write("d.json", "old");
  simulate();
  EXPECT_EQ(frames().size(), 3U);
  EXPECT_EQ(content(at("d.json")).front(), '{');
  EXPECT_THAT(names(), ElementsAre("d.json", "s.tsv", "t.bin"));
}

TEST_F(simulate_test, repetitions_make_the_trace_longer_by_whole_sessions) {
  options_.repeat = 3;
  EXPECT_EQ(simulate().messages, 2U);
  const auto all = frames();
  ASSERT_EQ(all.size(), 9U);
  for (std::uint32_t i = 0; i < 9; ++i) {
    EXPECT_EQ(all[i].sequence, i);
    EXPECT_EQ(all[i].trace, all[i % 3].trace);
  }
  EXPECT_EQ(all[8].timestamp_ns, 2 * 1'000'020'000U + 20'000U);
}

TEST_F(simulate_test, a_trace_of_several_write_blocks_is_whole) {
  options_.repeat = 10000;
  EXPECT_GT(simulate().trace_bytes, std::size_t{1} << 20);
  EXPECT_EQ(frames().size(), 30000U);
}

TEST_F(simulate_test, a_session_that_cannot_be_played_leaves_the_files_as_they_were) {
  for (const char* line : {"nonsense", "20\twifi\t00"}) {
    write("s.tsv", std::string("10\tat\t4f4b\n") + line + "\n");
    EXPECT_THAT(refusal(exit_code::bad_input), HasSubstr("s.tsv, line 2: "));
    EXPECT_THAT(names(), ElementsAre("s.tsv"));
    write("t.bin", "old trace");
    write("d.json", "old database");
    refusal(exit_code::bad_input);
    EXPECT_EQ(content(at("t.bin")), "old trace");
    EXPECT_EQ(content(at("d.json")), "old database");
    for (const char* name : {"t.bin", "d.json"}) fs::remove(at(name));
  }
}

TEST_F(simulate_test, a_place_that_cannot_be_written_leaves_neither_file) {
  fs::create_directory(at("directory"));
  const fs::path missing = at("missing") / "d.json";
  for (const auto& [trace, database] : {std::pair{missing, at("d.json")},
                                        {at("directory"), at("d.json")},
                                        {at("t.bin"), missing}}) {
    options_.trace = trace;
    options_.database = database;
    EXPECT_THAT(refusal(exit_code::output_failed), StartsWith("cannot write "));
    EXPECT_THAT(names(), ElementsAre("directory", "s.tsv"));
  }
}

TEST_F(simulate_test, a_database_name_of_another_kind_is_refused) {
  for (const char* name : {"d", "d.txt", "d.JSON", "d.tar", "-"}) {
    options_.database = name;
    EXPECT_THAT(refusal(exit_code::usage), StartsWith("the database " + std::string(name))) << name;
  }
}

TEST_F(simulate_test, one_name_for_two_files_is_refused) {
  const std::string before = content(at("s.tsv"));
  options_.trace = at(".") / "d.json";
  EXPECT_THAT(refusal(exit_code::usage), HasSubstr("the same file"));
  options_.trace = at(".") / "s.tsv";
  EXPECT_THAT(refusal(exit_code::usage), HasSubstr("is the session itself"));
  EXPECT_THAT(names(), ElementsAre("s.tsv"));
  EXPECT_EQ(content(at("s.tsv")), before);
}

TEST_F(simulate_test, repetitions_that_cannot_be_played_are_refused) {
  options_.repeat = 0;
  EXPECT_THAT(refusal(exit_code::usage), StartsWith("--repeat 0"));
  options_.repeat = 20'000'000'000;
  EXPECT_THAT(refusal(exit_code::usage), HasSubstr("beyond 64 bits; 18446"));
  EXPECT_THAT(names(), ElementsAre("s.tsv"));
}

TEST_F(simulate_test, a_text_that_is_not_a_uuid_is_refused) {
  for (const char* uuid : {"", "x"}) {
    options_.uuid = uuid;
    EXPECT_THAT(refusal(exit_code::usage), HasSubstr("is not a UUID"));
  }
}

// The trace is small enough to wait in the stream's buffer until it is committed.
TEST_F(simulate_test, a_trace_that_fails_at_its_very_end_leaves_no_database) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "needs a device that is always full";
  testing::FLAGS_gtest_death_test_style = "fast";
  options_.trace = "-";
  const auto work = [this] {
    if (std::freopen("/dev/full", "wb", stdout) == nullptr) std::_Exit(1);
    try {
      simulate();
    } catch (const user_error& error) {
      std::fputs(error.what(), stderr);
      std::_Exit(fs::exists(options_.database) ? 2 : static_cast<int>(error.code()));
    }
    std::_Exit(3);
  };
  EXPECT_EXIT(work(), testing::ExitedWithCode(static_cast<int>(exit_code::output_failed)),
              "cannot write standard output: ");
  EXPECT_THAT(names(), ElementsAre("s.tsv"));
}

TEST_F(simulate_test, the_example_session_becomes_a_trace) {
  const auto examples = platform::find_environment_variable("VELTRA_EXAMPLES");
  ASSERT_TRUE(examples);
  options_.session = platform::path_from_utf8(*examples) / "attach_session.tsv";
  EXPECT_EQ(simulate().messages, 55U);
  ASSERT_EQ(frames().size(), 56U);
  EXPECT_EQ(frames().back().timestamp_ns, 375'950'000U);
}

// --- the command line
// -----------------------------------------------------------------------------

TEST_F(simulate_test, the_command_line_reaches_the_work) {
  const std::string uuid = "01234567-89ab-cdef-0123-456789abcdef";
  testing::internal::CaptureStdout();
  const exit_code code = run_to(name_of("t.bin"), {"--repeat", "2", "--uuid", uuid});
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(code, exit_code::ok);
  EXPECT_EQ(frames().size(), 6U);
  EXPECT_THAT(content(at("d.json")), HasSubstr(uuid));
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1);
  EXPECT_THAT(printed, StartsWith("2 messages, played 2 times: "));
  for (const std::string& part : {uuid, name_of("t.bin"), name_of("d.json")}) {
    EXPECT_THAT(printed, HasSubstr(part));
  }
}

TEST_F(simulate_test, a_trace_on_standard_output_is_alone_there) {
  test_support::captured_stdout captured;
  testing::internal::CaptureStderr();
  run_to("-");
  EXPECT_EQ(read_frames(captured.end()).size(), 3U);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("2 messages, played once: "));
}

TEST_F(simulate_test, one_message_is_not_reported_as_several) {
  write("s.tsv", "#h\n10\tat\t4f4b\n");
  testing::internal::CaptureStdout();
  run_to(name_of("t.bin"));
  EXPECT_THAT(testing::internal::GetCapturedStdout(), StartsWith("1 message, played once: "));
}

TEST_F(simulate_test, session_and_outputs_must_be_named) {
  EXPECT_THAT(usage_failure_of({}), HasSubstr("SESSION is required"));
  EXPECT_THAT(usage_failure_of({"s.tsv"}), HasSubstr("--trace or --pty is required"));
  EXPECT_THAT(usage_failure_of({"s.tsv", "--trace", "t"}), HasSubstr("--database is required"));
  for (const auto& line :
       std::vector<std::vector<std::string>>{{"", "--trace", "t", "--database", "d.json"},
                                             {"s", "--trace", "", "--database", "d.json"},
                                             {"s", "--trace", "t", "--database", ""}}) {
    EXPECT_THAT(usage_failure_of(line),
                HasSubstr("the name is empty; see veltra simulate --help."));
  }
}

TEST_F(simulate_test, a_text_that_is_not_a_number_of_repetitions_is_refused) {
  for (const char* number : {"-1", "0", "x", "", "2x", "1.5", "18446744073709551616"}) {
    EXPECT_THAT(usage_failure_of({"s", "--trace", "t", "--database", "d", "--repeat", number}),
                StartsWith("veltra: --repeat"))
        << number;
  }
}

}  // namespace
}  // namespace veltra::host
