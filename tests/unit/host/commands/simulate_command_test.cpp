#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "host/commands/command_line.h"
#include "host/simulate/simulation.h"
#include "implementation/json.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "tests/support/captured_stdout.h"
#include "tests/unit/host/simulate/frame_reader.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

std::string content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void put(const fs::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Every test has a directory of its own with a small session in it.
class simulate_command : public testing::Test {
 protected:
  void SetUp() override {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    directory_ = fs::temp_directory_path() / (std::string("veltra_simulate_") + test->name() + "_" +
                                              std::to_string(platform::process_id()));
    fs::create_directories(directory_);
    put(at("s.tsv"), "#h\n10\tat\t4f4b\n20\tip\t45\n");
    options_.session = at("s.tsv");
    options_.trace = at("t.bin");
    options_.database = at("d.json");
  }
  void TearDown() override { fs::remove_all(directory_); }

  fs::path at(const char* name) const { return directory_ / name; }

  static simulate_result simulate(
      const simulate_options& options,
      const std::function<bool()>& stopped = [] { return false; }) {
    return simulation(options).write(stopped);
  }

  std::string refusal(exit_code code) {
    return refusal_of([this] { simulate(options_); }, code);
  }

  // The names in the directory, in order.
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : fs::directory_iterator(directory_)) {
      result.push_back(entry.path().filename().string());
    }
    std::sort(result.begin(), result.end());
    return result;
  }

  static exit_code run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "veltra");
    return run_command_line(arguments);
  }

  // What a command line that is wrong is told.
  static std::string usage_failure_of(std::vector<std::string> arguments) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(std::move(arguments)), exit_code::usage);
    return testing::internal::GetCapturedStderr();
  }

  fs::path directory_;
  simulate_options options_;
};

TEST_F(simulate_command, trace_and_database_are_written) {
  const simulate_result result = simulate(options_);
  EXPECT_THAT(names(), testing::ElementsAre("d.json", "s.tsv", "t.bin"));
  const std::string trace = content(at("t.bin"));
  EXPECT_EQ(result.trace_bytes, trace.size());
  EXPECT_EQ(result.messages, 2U);
  const auto frames = read_frames(trace);
  ASSERT_EQ(frames.size(), 3U);
  EXPECT_EQ(frames[1].timestamp_ns, 10000U);
  EXPECT_EQ(frames[2].timestamp_ns, 20000U);
  const auto database = kovax::json::parse(content(at("d.json")));
  EXPECT_EQ(database.at("meta").at("uuid"), result.uuid);
}

TEST_F(simulate_command, a_run_that_is_stopped_leaves_whole_files) {
  options_.repeat = 1'000'000;
  const simulate_result result = simulate(options_, [] { return true; });
  EXPECT_TRUE(result.interrupted);
  const auto frames = read_frames(content(at("t.bin")));
  EXPECT_GT(frames.size(), 1000U);
  EXPECT_LT(frames.size(), 1'000'000U);
  EXPECT_EQ(kovax::json::parse(content(at("d.json"))).at("meta").at("uuid"), result.uuid);
  EXPECT_THAT(names(), testing::ElementsAre("d.json", "s.tsv", "t.bin"));
}

TEST_F(simulate_command, a_place_that_does_not_do_leaves_neither_file) {
  fs::create_directory(at("directory"));
  options_.trace = at("directory");
  refusal(exit_code::output_failed);
  EXPECT_THAT(names(), testing::ElementsAre("directory", "s.tsv"));
}

// The place is good when the run begins, and not any more when it ends.
TEST_F(simulate_command, a_database_that_cannot_get_its_name_leaves_no_trace) {
  options_.repeat = 1'000'000;
  const auto take_the_name = [this] { return fs::create_directory(at("d.json")); };
  EXPECT_THAT(refusal_of([&] { simulate(options_, take_the_name); }, exit_code::output_failed),
              HasSubstr("d.json"));
  EXPECT_THAT(names(), testing::ElementsAre("d.json", "s.tsv"));
}

TEST_F(simulate_command, a_database_that_goes_away_leaves_an_earlier_one) {
  put(at("d.json"), "earlier");
  options_.repeat = 1'000'000;
  bool removed = false;
  const auto remove_it = [&] {
    for (const std::string& name : names()) {
      std::error_code ignored;
      if (name.starts_with("d.json.")) removed = fs::remove(at(name.c_str()), ignored);
    }
    return true;
  };
  try {
    simulate(options_, remove_it);
    if (!removed) GTEST_SKIP() << "an open file cannot be removed here";
    ADD_FAILURE() << "nothing was refused";
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), exit_code::output_failed);
  }
  EXPECT_EQ(content(at("d.json")), "earlier");
  EXPECT_THAT(names(), testing::ElementsAre("d.json", "s.tsv"));
}

TEST_F(simulate_command, names_must_not_be_empty) {
  for (const auto& line : std::vector<std::vector<std::string>>{
           {"simulate", "", "--trace", "t", "--database", "d.json"},
           {"simulate", "s", "--trace", "", "--database", "d.json"},
           {"simulate", "s", "--trace", "t", "--database", ""}}) {
    EXPECT_THAT(usage_failure_of(line),
                HasSubstr("the name is empty; see veltra simulate --help."));
  }
}

TEST_F(simulate_command, the_database_uid_can_be_read_in_the_raw_stream) {
  const simulate_result result = simulate(options_);
  const std::string trace = content(at("t.bin"));
  const std::size_t marker = trace.find("UID %s");
  ASSERT_NE(marker, std::string::npos);
  EXPECT_EQ(trace.substr(marker + 7, 36), result.uuid);
}

TEST_F(simulate_command, the_same_input_gives_the_same_bytes) {
  for (const char* database : {"d.json", "d.tar.gz"}) {
    options_.database = at(database);
    simulate(options_);
    const std::string trace_before = content(options_.trace);
    const std::string database_before = content(options_.database);
    options_.trace = at("other.bin");
    options_.database = at((std::string("other-") + database).c_str());
    simulate(options_);
    EXPECT_EQ(content(options_.trace), trace_before);
    EXPECT_EQ(content(options_.database), database_before);
  }
}

TEST_F(simulate_command, a_name_that_ends_in_gz_makes_an_archive) {
  for (const char* name : {"d.tar.gz", "d.gz"}) {
    options_.database = at(name);
    simulate(options_);
    EXPECT_EQ(content(at(name)).substr(0, 2), "\x1F\x8B") << name;
  }
}

TEST_F(simulate_command, earlier_files_are_replaced) {
  put(at("t.bin"), "old");
  put(at("d.json"), "old");
  simulate(options_);
  EXPECT_EQ(read_frames(content(at("t.bin"))).size(), 3U);
  EXPECT_EQ(content(at("d.json")).front(), '{');
  EXPECT_THAT(names(), testing::ElementsAre("d.json", "s.tsv", "t.bin"));
}

TEST_F(simulate_command, repetitions_make_the_trace_longer_by_whole_sessions) {
  options_.repeat = 3;
  const simulate_result result = simulate(options_);
  EXPECT_EQ(result.messages, 2U);
  const auto frames = read_frames(content(at("t.bin")));
  ASSERT_EQ(frames.size(), 9U);
  for (std::uint32_t i = 0; i < 9; ++i) {
    EXPECT_EQ(frames[i].sequence, i);
    EXPECT_EQ(frames[i].trace, frames[i % 3].trace);
  }
  EXPECT_EQ(frames[8].timestamp_ns, 2 * 1'000'020'000U + 20'000U);
}

TEST_F(simulate_command, a_trace_of_several_write_blocks_is_whole) {
  options_.repeat = 10000;
  const simulate_result result = simulate(options_);
  EXPECT_GT(result.trace_bytes, std::size_t{1} << 20);
  EXPECT_EQ(read_frames(content(at("t.bin"))).size(), 30000U);
}

TEST_F(simulate_command, a_bad_session_leaves_no_file) {
  put(at("s.tsv"), "10\tat\t4f4b\nnonsense\n");
  EXPECT_THAT(refusal(exit_code::bad_input), HasSubstr("s.tsv, line 2: "));
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv"));
}

TEST_F(simulate_command, a_layer_that_cannot_be_carried_leaves_no_file) {
  put(at("s.tsv"), "10\tat\t4f4b\n20\twifi\t00\n");
  EXPECT_THAT(refusal(exit_code::bad_input), HasSubstr("s.tsv, line 2: "));
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv"));
}

TEST_F(simulate_command, a_bad_session_leaves_earlier_files_as_they_were) {
  put(at("s.tsv"), "nonsense\n");
  put(at("t.bin"), "old trace");
  put(at("d.json"), "old database");
  refusal(exit_code::bad_input);
  EXPECT_EQ(content(at("t.bin")), "old trace");
  EXPECT_EQ(content(at("d.json")), "old database");
}

TEST_F(simulate_command, a_trace_that_cannot_be_created_leaves_no_database) {
  options_.trace = at("missing") / "t.bin";
  EXPECT_THAT(refusal(exit_code::output_failed), HasSubstr("t.bin"));
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv"));
}

TEST_F(simulate_command, a_database_that_cannot_be_created_leaves_no_trace) {
  options_.database = at("missing") / "d.json";
  EXPECT_THAT(refusal(exit_code::output_failed), HasSubstr("d.json"));
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv"));
}

TEST_F(simulate_command, a_directory_as_output_is_refused) {
  fs::create_directory(at("t.bin"));
  EXPECT_THAT(refusal(exit_code::output_failed), HasSubstr("t.bin: it is a directory"));
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv", "t.bin"));
}

TEST_F(simulate_command, a_database_name_of_another_kind_is_refused) {
  for (const char* name : {"d", "d.txt", "d.JSON", "d.tar", "-"}) {
    options_.database = name;
    EXPECT_THAT(refusal(exit_code::usage), StartsWith("the database " + std::string(name))) << name;
  }
}

TEST_F(simulate_command, one_name_for_both_outputs_is_refused) {
  options_.trace = at(".") / "d.json";
  EXPECT_THAT(refusal(exit_code::usage), HasSubstr("the same file"));
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv"));
}

TEST_F(simulate_command, the_session_is_never_overwritten) {
  const std::string before = content(at("s.tsv"));
  options_.trace = at(".") / "s.tsv";
  EXPECT_THAT(refusal(exit_code::usage), HasSubstr("is the session itself"));
  EXPECT_EQ(content(at("s.tsv")), before);
}

TEST_F(simulate_command, no_repetition_is_refused) {
  options_.repeat = 0;
  EXPECT_THAT(refusal(exit_code::usage), StartsWith("--repeat 0"));
}

TEST_F(simulate_command, repetitions_beyond_the_last_timestamp_are_refused) {
  options_.repeat = 20'000'000'000;
  EXPECT_THAT(refusal(exit_code::usage), HasSubstr("beyond 64 bits; 18446"));
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv"));
}

TEST_F(simulate_command, a_uuid_that_is_none_is_refused) {
  for (const char* uuid : {"", "x"}) {
    options_.uuid = uuid;
    EXPECT_THAT(refusal(exit_code::usage), HasSubstr("is not a UUID"));
  }
}

TEST_F(simulate_command, the_command_line_reaches_the_work) {
  const std::string uuid = "01234567-89ab-cdef-0123-456789abcdef";
  testing::internal::CaptureStdout();
  const exit_code code =
      run({"simulate", platform::path_to_utf8(at("s.tsv")), "--trace",
           platform::path_to_utf8(at("t.bin")), "--database", platform::path_to_utf8(at("d.json")),
           "--repeat", "2", "--uuid", uuid});
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(code, exit_code::ok);
  EXPECT_EQ(read_frames(content(at("t.bin"))).size(), 6U);
  EXPECT_THAT(content(at("d.json")), HasSubstr(uuid));
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1);
  EXPECT_THAT(printed, StartsWith("2 messages, played 2 times: "));
  EXPECT_THAT(printed, HasSubstr(uuid));
  EXPECT_THAT(printed, HasSubstr(platform::path_to_utf8(at("t.bin"))));
  EXPECT_THAT(printed, HasSubstr(platform::path_to_utf8(at("d.json"))));
}

TEST_F(simulate_command, a_trace_on_standard_output_is_alone_there) {
  test_support::captured_stdout captured;
  testing::internal::CaptureStderr();
  run({"simulate", platform::path_to_utf8(at("s.tsv")), "--trace", "-", "--database",
       platform::path_to_utf8(at("d.json"))});
  EXPECT_EQ(read_frames(captured.end()).size(), 3U);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), StartsWith("2 messages, played once: "));
}

TEST_F(simulate_command, one_message_is_not_told_as_several) {
  put(at("s.tsv"), "#h\n10\tat\t4f4b\n");
  testing::internal::CaptureStdout();
  run({"simulate", platform::path_to_utf8(at("s.tsv")), "--trace",
       platform::path_to_utf8(at("t.bin")), "--database", platform::path_to_utf8(at("d.json"))});
  EXPECT_THAT(testing::internal::GetCapturedStdout(), StartsWith("1 message, played once: "));
}

// The trace is small enough to wait in the stream's buffer until it is committed.
TEST_F(simulate_command, a_trace_that_fails_at_its_very_end_leaves_no_database) {
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "needs a device that is always full";
  testing::FLAGS_gtest_death_test_style = "fast";
  options_.trace = "-";
  const auto work = [this] {
    if (std::freopen("/dev/full", "wb", stdout) == nullptr) std::_Exit(1);
    try {
      simulate(options_);
    } catch (const user_error& error) {
      std::fputs(error.what(), stderr);
      std::_Exit(fs::exists(options_.database) ? 2 : static_cast<int>(error.code()));
    }
    std::_Exit(3);
  };
  EXPECT_EXIT(work(), testing::ExitedWithCode(static_cast<int>(exit_code::output_failed)),
              "cannot write standard output: ");
  EXPECT_THAT(names(), testing::ElementsAre("s.tsv"));
}

TEST_F(simulate_command, session_and_outputs_must_be_named) {
  EXPECT_THAT(usage_failure_of({"simulate"}), HasSubstr("SESSION is required"));
  EXPECT_THAT(usage_failure_of({"simulate", "s.tsv"}), HasSubstr("--trace or --pty is required"));
  EXPECT_THAT(usage_failure_of({"simulate", "s.tsv", "--trace", "t.bin"}),
              HasSubstr("--database is required"));
}

TEST_F(simulate_command, a_number_of_repetitions_that_is_none_is_refused) {
  for (const char* number : {"-1", "0", "x", "", "2x", "1.5", "18446744073709551616"}) {
    EXPECT_THAT(usage_failure_of({"simulate", "s.tsv", "--trace", "t", "--database", "d.json",
                                  "--repeat", number}),
                StartsWith("veltra: --repeat"))
        << number;
  }
}

TEST_F(simulate_command, the_example_session_becomes_a_trace) {
  const auto examples = platform::find_environment_variable("VELTRA_EXAMPLES");
  ASSERT_TRUE(examples);
  options_.session = platform::path_from_utf8(*examples) / "attach_session.tsv";
  const simulate_result result = simulate(options_);
  EXPECT_EQ(result.messages, 55U);
  const auto frames = read_frames(content(at("t.bin")));
  ASSERT_EQ(frames.size(), 56U);
  EXPECT_EQ(frames.back().timestamp_ns, 375'950'000U);
}

}  // namespace
}  // namespace veltra::host
