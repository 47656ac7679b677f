// Files, names and libraries as only POSIX systems have them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>

#include "platform/file.h"
#include "tests/support/environment_variable.h"
#include "tests/support/library_file.h"
#include "tests/support/plugin_library.h"
#include "tests/support/source_fixture.h"
#include "tests/support/value_tests.h"

namespace {

namespace fs = std::filesystem;
using kovax::json;
using test_support::environment_variable;
using test_support::minimal_database;
using test_support::working_directory;
using testing::HasSubstr;

class posix_files_test : public test_support::source_fixture {};

TEST_F(posix_files_test, a_dangling_link_as_trace_file_does_not_exist) {
  fs::create_symlink("nowhere", directory.path() / "link");
  EXPECT_EQ(init_failure({{"file_path", (directory.path() / "link").string()}}),
            "trace file does not exist");
}

TEST_F(posix_files_test, a_device_without_a_size_fails_with_file_size) {
  EXPECT_THAT(init_failure({{"file_path", "/dev/null"}}), HasSubstr("file_size"));
}

TEST_F(posix_files_test, a_stream_is_read_to_its_end_and_reports_no_size) {
  const std::string bytes = test_support::varied_bytes(200000);
  const fs::path path = directory.path() / "fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::jthread writer([&] { std::ofstream(path, std::ios::binary) << bytes; });
  open({{"file_path", path.string()}, {"file_stream", true}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), bytes);
  ASSERT_FALSE(session.packets.empty());
  EXPECT_FALSE(json::parse(session.packets.back().metadata).contains("data_size"));
}

TEST_F(posix_files_test, a_file_that_is_read_as_a_stream_is_read_as_it_is) {
  open({{"file_path", write_trace_of(1500)}, {"file_stream", true}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(1500));
}

TEST_F(posix_files_test, a_trace_that_was_removed_after_init_is_read_all_the_same) {
  const auto path = write_trace_of(1500);
  open({{"file_path", path}});
  fs::remove(path);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(1500));
}

// At the beginning of a process's own memory nothing is mapped.
TEST_F(posix_files_test, a_trace_that_cannot_be_read_fails_the_run_and_is_named) {
  open({{"file_path", "/proc/self/mem"}});
  EXPECT_NE(session.start(), 0);
  EXPECT_EQ(session.last_error().message, "trace_file could not be read at /proc/self/mem");
  EXPECT_TRUE(session.packets.empty());
}

bool is_open_in_this_process(const fs::path& path) {
  return std::any_of(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator(),
                     [&](const fs::directory_entry& descriptor) {
                       std::error_code vanished;
                       return fs::read_symlink(descriptor.path(), vanished) == path;
                     });
}

TEST_F(posix_files_test, the_decoder_is_deleted_before_the_trace_is_closed) {
  open_decoding("abc");
  const fs::path trace = fs::canonical(write_trace("abc"));
  bool open_at_delete = false;
  decoder.on_delete([&] { open_at_delete = is_open_in_this_process(trace); });
  EXPECT_EQ(session.release(), 0);
  EXPECT_TRUE(open_at_delete);
  EXPECT_FALSE(is_open_in_this_process(trace));
}

// Looking whether a file is there can fail.
class existence_test : public posix_files_test, public test_support::given_value<const char*> {
 protected:
  json parameters(const std::string& path) {
    json result = {{"file_path", write_trace("x")}};
    result[given()] = path;
    return result;
  }
};

TEST_GIVEN(existence_test, a_name_too_long_fails_with_exists) {
  EXPECT_THAT(init_failure(parameters((directory.path() / std::string(300, 'n')).string())),
              HasSubstr("exists"));
}

TEST_GIVEN(existence_test, a_loop_of_links_fails_with_exists) {
  fs::create_symlink("loop", directory.path() / "loop");
  EXPECT_THAT(init_failure(parameters((directory.path() / "loop").string())), HasSubstr("exists"));
}

TEST_GIVEN(existence_test, a_hugely_long_path_fails_with_exists) {
  EXPECT_THAT(init_failure(parameters(std::string(1 << 20, 'n'))), HasSubstr("exists"));
}

GIVEN(keys, existence_test, {"file_path", "db_file_path"});

// --- names ---------------------------------------------------------------------------

class posix_names_test : public test_support::source_fixture {};

TEST_F(posix_names_test, quotes_in_a_path_are_kept) {
  const auto path = directory.write(" a \"b\" 'c' .bin", "blanks");
  open({{"file_path", platform::path_to_utf8(path)}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "blanks");
}

TEST_F(posix_names_test, quotes_and_backslashes_are_escaped_in_metadata) {
  EXPECT_THAT(metadata_with_database("a\"b\\c.json"), HasSubstr(R"(/a\"b\\c.json","modem)"));
}

TEST_F(posix_names_test, control_characters_are_escaped_in_metadata) {
  EXPECT_THAT(metadata_with_database("a\tb\nc\x01"
                                     "d\x7F.json"),
              HasSubstr("/a\\tb\\nc\\u0001d\x7F.json\",\"modem"));
}

TEST_F(posix_names_test, a_database_path_that_is_not_utf8_fails_the_first_packet) {
  const auto path = directory.write("d\xFF.json", minimal_database().dump()).string();
  const environment_variable variable("VELTRA_DB", path);
  open({{"file_path", write_trace("x")}, {"db_file_path", "${env:VELTRA_DB}"}});
  EXPECT_EQ(session.start(), 100);
  EXPECT_THAT(session.last_error().message, HasSubstr("invalid UTF-8 byte"));
  EXPECT_TRUE(session.packets.empty());
}

TEST_F(posix_names_test, a_trace_path_that_is_not_utf8_does_no_harm) {
  const auto path = directory.write("t\xFF.bin", "abc").string();
  const environment_variable variable("VELTRA_TRACE", path);
  open({{"file_path", "${env:VELTRA_TRACE}"}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "abc");
}

TEST_F(posix_names_test, the_name_of_a_variable_keeps_its_case) {
  const environment_variable variable("VELTRA_TRACE", write_trace("named"));
  EXPECT_EQ(init_failure({{"file_path", "${env:veltra_trace}"}}),
            "failed to find env variable: veltra_trace");
}

// Texts that only look like a variable, for the line breaks in them.
class posix_literal_test : public posix_names_test,
                           public test_support::given_value<const char*> {};

TEST_GIVEN(posix_literal_test, is_taken_literally) {
  const environment_variable variable("TRACE", "/nowhere/veltra.bin");
  directory.write(given(), "literal");
  const working_directory inside(directory.path());
  open({{"file_path", given()}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "literal");
}

GIVEN(texts, posix_literal_test, {"${env:TR\nACE}", "${env:TR\rACE}", "${env:TRACE}\n"});

// --- libraries -----------------------------------------------------------------------

TEST(library_test, the_plugin_looks_for_the_decoder_beside_itself) {
  const auto plugin = platform::path_from_utf8(test_support::plugin_file());
  EXPECT_EQ(test_support::read_library_file(plugin).runpath, "$ORIGIN");
}

}  // namespace
