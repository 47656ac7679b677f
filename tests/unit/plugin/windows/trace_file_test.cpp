#include "plugin/trace_file.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "platform/file.h"
#include "tests/support/temp_directory.h"

namespace {

using test_support::temp_directory;
using veltra::trace_file;

TEST(trace_file_opening, a_directory_cannot_be_opened) {
  const temp_directory directory;
  const std::string path = platform::path_to_utf8(directory.path());
  try {
    trace_file().open(path);
    ADD_FAILURE() << "opened";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "trace_file could not be opened at " + path);
  }
}

TEST(trace_file_bytes, line_ends_and_the_old_end_mark_are_bytes_like_any_other) {
  const temp_directory directory;
  const std::string bytes = "a\r\nb\n\x1a\rc";
  trace_file file;
  file.open(platform::path_to_utf8(directory.write("trace.bin", bytes)));
  std::string chunk;
  EXPECT_TRUE(file.read_chunk(100, chunk));
  EXPECT_EQ(chunk, bytes);
}

TEST(trace_file_opening, a_name_may_hold_blanks_and_what_no_code_page_has) {
  const temp_directory directory;
  const auto path =
      directory.write("Spur \xC3\xA4 \xE6\x97\xA5 \xF0\x9F\x93\xA1/trace \xCE\xA9.bin", "bytes");
  trace_file file;
  file.open(platform::path_to_utf8(path));
  EXPECT_EQ(file.size(), 5U);
}

}  // namespace
