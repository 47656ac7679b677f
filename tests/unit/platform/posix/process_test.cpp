#include "platform/process.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "tests/support/environment_variable.h"
#include "tests/support/temp_directory.h"

namespace {

std::string read_all(platform::process& running) {
  std::string output;
  std::array<char, 7> piece{};
  while (const std::size_t count = running.read(piece)) output.append(piece.data(), count);
  return output;
}

TEST(process, gives_its_output_and_its_end) {
  platform::process running("/bin/sh", {"-c", "printf 'one two three'; exit 3"});
  EXPECT_EQ(read_all(running), "one two three");
  const platform::process::ending end = running.wait();
  EXPECT_FALSE(end.killed);
  EXPECT_EQ(end.exit_code, 3);
}

TEST(process, keeps_standard_error_apart) {
  platform::process running("/bin/sh", {"-c", "echo out; echo why >&2"});
  EXPECT_EQ(read_all(running), "out\n");
  EXPECT_EQ(running.wait().diagnostics, "why\n");
}

TEST(process, keeps_only_the_start_of_a_long_standard_error) {
  platform::process running("/bin/sh", {"-c", "head -c 100000 /dev/zero >&2"});
  EXPECT_EQ(read_all(running), "");
  EXPECT_EQ(running.wait().diagnostics.size(), platform::process::max_diagnostics);
}

TEST(process, passes_arguments_as_they_are) {
  platform::process running("/bin/sh", {"-c", R"(printf '%s|' "$@")", "sh", "a b", "", R"(c"'\)"});
  EXPECT_EQ(read_all(running), R"(a b||c"'\|)");
  running.wait();
}

TEST(process, has_no_input) {
  platform::process running("/bin/sh", {"-c", "cat; echo end"});
  EXPECT_EQ(read_all(running), "end\n");
  running.wait();
}

TEST(process, can_be_asked_to_end) {
  platform::process running("/bin/sh",
                            {"-c", "trap 'exit 7' TERM; echo ready; while :; do :; done"});
  std::array<char, 6> ready{};
  ASSERT_NE(running.read(ready), 0U);
  running.terminate();
  EXPECT_EQ(read_all(running), "");
  EXPECT_EQ(running.wait().exit_code, 7);
}

TEST(process, reports_a_program_that_a_signal_ends) {
  platform::process running("/bin/sh", {"-c", "kill -9 $$"});
  EXPECT_EQ(read_all(running), "");
  const platform::process::ending end = running.wait();
  EXPECT_TRUE(end.killed);
  EXPECT_EQ(end.exit_code, 128 + 9);
}

TEST(process, ends_with_its_owner) {
  // Writes forever; the destructor does not wait for that.
  platform::process running("/bin/sh", {"-c", "while :; do echo more; done"});
  std::array<char, 4> piece{};
  EXPECT_GT(running.read(piece), 0U);
}

TEST(process, fails_for_a_file_that_is_not_a_program) {
  EXPECT_THROW(platform::process("/etc/passwd", {}), std::system_error);
  EXPECT_THROW(platform::process("/nonexistent/program", {}), std::system_error);
}

TEST(start_program, passes_arguments_to_a_program_that_it_does_not_wait_for) {
  const test_support::temp_directory directory;
  const std::string pipe = (directory.path() / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  platform::start_program("/bin/sh", {"-c", R"(printf '%s|' "$@" >"$0"; cat >>"$0")", pipe, "a b"});
  std::ifstream reader(pipe);  // waits for the program
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "a b|");
}

TEST(start_program, fails_for_a_file_that_is_not_a_program) {
  EXPECT_THROW(platform::start_program("/etc/passwd", {}), std::system_error);
  EXPECT_THROW(platform::start_reader_of_stdout("/nonexistent/program", {}), std::system_error);
}

TEST(run_command, gives_the_shell_the_argument_as_one_word) {
  const test_support::temp_directory directory;
  const std::filesystem::path argument = directory.path() / "a  name with $HOME";
  EXPECT_EQ(platform::run_command("touch", argument), 0);
  EXPECT_TRUE(std::filesystem::exists(argument));
}

TEST(run_command, returns_how_the_command_ended) {
  EXPECT_EQ(platform::run_command("exit 7;", "x"), 7);
  EXPECT_EQ(platform::run_command("kill -KILL $$;", "x"), 128 + 9);
  EXPECT_EQ(platform::run_command("/nonexistent/program", "x"), 127);
}

TEST(run_command, has_no_input) {
  EXPECT_EQ(platform::run_command("read line || exit 5;", "x"), 5);
}

TEST(find_program, looks_in_the_directories_of_path) {
  const test_support::environment_variable path("PATH", "/nonexistent::/bin");
  EXPECT_EQ(platform::find_program("sh"), "/bin/sh");
  EXPECT_TRUE(platform::find_program("no-such-program").empty());
  EXPECT_TRUE(platform::find_program("").empty());
}

TEST(find_program, takes_a_name_with_a_directory_as_it_is) {
  const test_support::environment_variable path("PATH", "/bin");
  EXPECT_EQ(platform::find_program("/bin/sh"), "/bin/sh");
  EXPECT_TRUE(platform::find_program("/etc/passwd").empty());
  EXPECT_TRUE(platform::find_program("./sh").empty());
}

}  // namespace
