#include "host/output/output_failure.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "platform/file.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

std::string failure_of(const std::filesystem::path& path, int error) {
  const user_error failure = output_failure("cannot write", path, error);
  EXPECT_EQ(failure.code(), exit_code::output_failed);
  return failure.what();
}

TEST(output_failure, names_the_missing_directory) {
  EXPECT_EQ(failure_of("/none/out", ENOENT),
            "cannot write /none/out: there is no directory /none; make it first, or give another "
            "name.");
}

TEST(output_failure, a_lack_of_permission_is_one_of_the_directory) {
  EXPECT_EQ(failure_of("/some/out", EACCES),
            "cannot write /some/out: Permission denied; get permission to make files in the "
            "directory /some, or give another place.");
  EXPECT_THAT(failure_of("out", EROFS), testing::AllOf(testing::HasSubstr("Read-only file system"),
                                                       testing::HasSubstr("in the directory ., ")));
}

TEST(output_failure, a_file_that_is_written_where_it_is_needs_its_own_permission) {
  const test_support::temp_directory directory;
  const std::filesystem::path file = directory.write("out", "before");
  EXPECT_EQ(std::string(file_failure("cannot write", file, EACCES).what()),
            "cannot write " + platform::path_to_utf8(file) +
                ": Permission denied; get permission to write this file, or give another place.");
  EXPECT_THAT(file_failure("cannot write", directory.path() / "new", EACCES).what(),
              testing::HasSubstr("to make files in the directory "));
}

TEST(output_failure, a_full_disk_asks_for_room) {
  EXPECT_EQ(failure_of("out", ENOSPC),
            "cannot write out: No space left on device; make room, or give another place.");
}

TEST(output_failure, a_pipe_without_a_reader_is_told_so) {
  EXPECT_EQ(failure_of("-", EPIPE),
            "cannot write standard output: Broken pipe; the program that read it has ended.");
}

TEST(output_failure, a_reader_that_stalls_is_told_so) {
  EXPECT_EQ(failure_of("-", ETIMEDOUT),
            "cannot write standard output: the program that reads it has not read for 2 seconds, "
            "and the rest is lost; let it read, or give a file.");
}

// Which a file on a server that does not answer has none of.
TEST(output_failure, a_file_has_no_reader) {
  EXPECT_THAT(failure_of("out", ETIMEDOUT),
              testing::AllOf(testing::StartsWith("cannot write out: "),
                             testing::EndsWith("; give another place with room and write "
                                               "permission.")));
}

TEST(output_failure, any_other_reason_is_in_the_systems_words) {
  EXPECT_EQ(failure_of("out", EIO),
            "cannot write out: Input/output error; give another place with room and write "
            "permission.");
  EXPECT_THAT(failure_of("out", ENOENT), testing::HasSubstr("No such file or directory; "))
      << "its directory is there";
}

TEST(check_output_place, takes_what_may_be_written) {
  const test_support::temp_directory directory;
  directory.write("out", "before");
  for (const std::filesystem::path& path :
       {directory.path() / "out", directory.path() / "new", std::filesystem::path("new"),
        std::filesystem::path("-")}) {
    EXPECT_NO_THROW(check_output_place("cannot write", path));
  }
  EXPECT_THAT(names_in(directory.path()), testing::ElementsAre("out"));
}

TEST(check_output_place, refuses_what_can_never_be_written) {
  const test_support::temp_directory directory;
  directory.write("file", "");
  const auto refusal = [&](const std::filesystem::path& path) {
    return refusal_of([&] { check_output_place("cannot write", path); }, exit_code::output_failed);
  };
  EXPECT_THAT(refusal(directory.path()), testing::HasSubstr("it is a directory; "));
  EXPECT_THAT(refusal(directory.path() / "none" / "out"),
              testing::HasSubstr("there is no directory "));
  EXPECT_THAT(refusal(directory.path() / "file" / "out"),
              testing::HasSubstr("file is no directory; "));
}

}  // namespace
}  // namespace veltra::host
