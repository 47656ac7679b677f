// Files, names and libraries as only Windows has them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "platform/file.h"
#include "platform/windows/system.h"
#include "tests/support/environment_variable.h"
#include "tests/support/library_file.h"
#include "tests/support/plugin_library.h"
#include "tests/support/source_fixture.h"

namespace {

namespace fs = std::filesystem;
using test_support::environment_variable;

class windows_files_test : public test_support::source_fixture {};

TEST_F(windows_files_test, the_name_of_a_variable_is_found_in_any_case) {
  const environment_variable variable("VELTRA_TRACE", write_trace("named"));
  open({{"file_path", "${env:veltra_Trace}"}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "named");
}

TEST_F(windows_files_test, both_separators_name_a_file) {
  const auto path = directory.write("below/trace.bin", "both");
  std::string text = platform::path_to_utf8(directory.path()) + "\\below/trace.bin";
  open({{"file_path", text}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "both");
}

TEST_F(windows_files_test, a_trace_stays_while_an_instance_reads_it) {
  const auto path = write_trace_of(1500);
  open({{"file_path", path}});
  std::error_code error;
  EXPECT_FALSE(fs::remove(path, error));
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(1500));
  session.release();
  EXPECT_TRUE(fs::remove(path, error));
}

TEST_F(windows_files_test, the_decoder_is_deleted_before_the_trace_is_closed) {
  const auto path = write_trace("abc");
  open({{"file_path", path}, {"db_file_path", write_database(test_support::minimal_database())}});
  std::error_code error;
  bool open_at_delete = false;
  decoder.on_delete([&] { open_at_delete = !fs::remove(path, error); });
  EXPECT_EQ(session.release(), 0);
  EXPECT_TRUE(open_at_delete);
  EXPECT_TRUE(fs::remove(path, error));
}

TEST_F(windows_files_test, a_name_too_long_does_not_exist) {
  const std::string name(300, 'n');
  EXPECT_EQ(init_failure({{"file_path", (directory.path() / name).string()}}),
            "trace file does not exist");
}

// --- libraries -----------------------------------------------------------------------

fs::path system_directory() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size())));
  return path;
}

void expect_all_found(const fs::path& library) {
  const auto needed = test_support::read_library_file(library).needed;
  EXPECT_FALSE(needed.empty());
  for (const std::string& name : needed) {
    EXPECT_TRUE(fs::exists(library.parent_path() / name) || fs::exists(system_directory() / name))
        << library << " needs " << name;
  }
}

TEST(library_test, the_plugin_needs_only_what_lies_beside_it_and_the_system) {
  expect_all_found(platform::path_from_utf8(test_support::plugin_file()));
}

TEST(library_test, the_decoder_needs_only_what_lies_beside_it_and_the_system) {
  expect_all_found(VELTRA_DECODER_FILE);
}

}  // namespace
