// Names that files can only have where any byte but '/' and NUL may stand in them
// (POSIX.1-2017, 3.282).
#include <string>

#include "platform/file.h"
#include "tests/support/environment_variable.h"
#include "tests/support/source_fixture.h"
#include "tests/support/test_names.h"

namespace {

using test_support::environment_variable;
using test_support::minimal_database;
using test_support::working_directory;
using testing::HasSubstr;

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

TEST_F(posix_names_test, a_database_path_that_is_no_utf8_fails_the_first_packet) {
  const auto path = directory.write("d\xFF.json", minimal_database().dump()).string();
  const environment_variable variable("VELTRA_DB", path);
  open({{"file_path", write_trace("x")}, {"db_file_path", "${env:VELTRA_DB}"}});
  EXPECT_EQ(session.start(), 100);
  EXPECT_THAT(session.last_error().message, HasSubstr("invalid UTF-8 byte"));
  EXPECT_TRUE(session.packets.empty());
}

TEST_F(posix_names_test, a_trace_path_that_is_no_utf8_does_no_harm) {
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
                           public testing::WithParamInterface<const char*> {};

TEST_P(posix_literal_test, is_taken_as_it_stands) {
  const environment_variable variable("TRACE", "/nowhere/veltra.bin");
  directory.write(GetParam(), "literal");
  const working_directory inside(directory.path());
  open({{"file_path", GetParam()}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "literal");
}

INSTANTIATE_TEST_SUITE_P(texts, posix_literal_test,
                         testing::Values("${env:TR\nACE}", "${env:TR\rACE}", "${env:TRACE}\n"),
                         test_support::named_by_value());

}  // namespace
