// Environment variables, the working directory and the home directory in
// "file_path" and "db_file_path".
#include <optional>
#include <string>

#include "platform/file.h"
#include "tests/support/environment_variable.h"
#include "tests/support/source_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::environment_variable;
using test_support::working_directory;
using testing::HasSubstr;
using testing::Not;

class path_parameters_test : public test_support::source_fixture {
 protected:
  // Expects that this "file_path" names a file with the given bytes.
  void expect_reads(const std::string& file_path, const std::string& bytes) {
    open({{"file_path", file_path}});
    if (HasFatalFailure()) return;
    EXPECT_EQ(session.start(), 0);
    EXPECT_EQ(session.raw_bytes(), bytes);
  }

  std::string absolute(const char* name) const { return (directory.path() / name).string(); }
};

// --- environment variables -------------------------------------------------------------

TEST_F(path_parameters_test, a_variable_names_the_trace_file) {
  const environment_variable variable("VELTRA_TRACE", write_trace("named"));
  expect_reads("${env:VELTRA_TRACE}", "named");
}

TEST_F(path_parameters_test, a_variable_names_the_database) {
  const auto database = write_database(test_support::minimal_database());
  const environment_variable variable("VELTRA_DB", database);
  open({{"file_path", write_trace("x")}, {"db_file_path", "${env:VELTRA_DB}"}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(json::parse(session.packets.at(0).metadata).at("modem_db_path"), database);
}

class env_spelling_test : public path_parameters_test,
                          public test_support::given_value<const char*> {};

TEST_GIVEN(env_spelling_test, the_word_env_is_taken_in_any_case) {
  const environment_variable variable("VELTRA_TRACE", write_trace("named"));
  expect_reads(std::string("${") + given() + ":VELTRA_TRACE}", "named");
}

GIVEN(words, env_spelling_test, {"env", "ENV", "Env", "eNv", "enV"});

TEST_F(path_parameters_test, an_unset_variable_is_refused_by_its_name) {
  const environment_variable variable("TRACE", std::nullopt);
  EXPECT_EQ(init_failure({{"file_path", "${env:TRACE}"}}), "failed to find env variable: TRACE");
}

TEST_F(path_parameters_test, an_unset_variable_for_the_database_is_refused_by_its_name) {
  const environment_variable variable("VELTRA_DB", std::nullopt);
  EXPECT_EQ(init_failure({{"file_path", write_trace("x")}, {"db_file_path", "${env:VELTRA_DB}"}}),
            "failed to find env variable: VELTRA_DB");
}

TEST_F(path_parameters_test, an_empty_variable_name_is_not_found) {
  EXPECT_EQ(init_failure({{"file_path", "${env:}"}}), "failed to find env variable: ");
}

TEST_F(path_parameters_test, the_variable_name_reaches_to_the_last_brace) {
  const environment_variable variable("A}x", write_trace("brace"));
  expect_reads("${env:A}x}", "brace");
}

TEST_F(path_parameters_test, an_unset_name_with_a_brace_is_reported_whole) {
  EXPECT_EQ(init_failure({{"file_path", "${env:A}x}"}}), "failed to find env variable: A}x");
}

TEST_F(path_parameters_test, blanks_belong_to_the_variable_name) {
  EXPECT_EQ(init_failure({{"file_path", "${env: A }"}}), "failed to find env variable:  A ");
}

TEST_F(path_parameters_test, a_very_long_variable_name_is_reported_whole) {
  const std::string name(500000, 'A');
  EXPECT_EQ(init_failure({{"file_path", "${env:" + name + "}"}}),
            "failed to find env variable: " + name);
}

TEST_F(path_parameters_test, the_value_of_a_variable_is_not_expanded_again) {
  const environment_variable inner("VELTRA_INNER", write_trace("inner"));
  const environment_variable outer("VELTRA_OUTER", "${env:VELTRA_INNER}");
  const working_directory inside(directory.path());
  directory.write("${env:VELTRA_INNER}", "literal");
  expect_reads("${env:VELTRA_OUTER}", "literal");
}

TEST_F(path_parameters_test, an_empty_variable_is_an_empty_path) {
  const environment_variable variable("VELTRA_TRACE", "");
  EXPECT_EQ(init_failure({{"file_path", "${env:VELTRA_TRACE}"}}),
            "veltra plugin missing trace file path or serialport");
}

TEST_F(path_parameters_test, a_relative_variable_is_joined_to_the_working_directory) {
  const environment_variable variable("VELTRA_TRACE", "relative.bin");
  directory.write("relative.bin", "relative");
  const working_directory inside(directory.path());
  expect_reads("${env:VELTRA_TRACE}", "relative");
}

// Texts that only look like a variable name a file in the working directory.
class literal_test : public path_parameters_test, public test_support::given_value<const char*> {};

TEST_GIVEN(literal_test, is_taken_literally) {
  const environment_variable variable("TRACE", "/nowhere/veltra.bin");
  directory.write(given(), "literal");
  const working_directory inside(directory.path());
  expect_reads(given(), "literal");
}

GIVEN(texts, literal_test,
      {"x${env:TRACE}", "${env:TRACE}x", " ${env:TRACE}", "${env:TRACE} ", "${TRACE}", "$env:TRACE",
       "{env:TRACE}", "${env:TRACE", "${env TRACE}", "${ env:TRACE}", "${environment:TRACE}",
       "$TRACE", "%TRACE%", "${root}trace.bin", "[{env:TRACE}", "${env;TRACE}", "${e^v:TRACE}",
       "${env}"});

// --- relative paths -----------------------------------------------------------------

TEST_F(path_parameters_test, a_relative_trace_file_is_joined_to_the_working_directory) {
  directory.write("sub/trace.bin", "relative");
  const working_directory inside(directory.path());
  expect_reads("sub/trace.bin", "relative");
}

TEST_F(path_parameters_test, the_working_directory_is_that_of_init) {
  directory.write("trace.bin", "relative");
  {
    const working_directory inside(directory.path());
    open({{"file_path", "trace.bin"}});
  }
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "relative");
}

TEST_F(path_parameters_test, a_relative_database_is_reported_with_its_absolute_path) {
  write_database(test_support::minimal_database());
  write_trace("x");
  const working_directory inside(directory.path());
  open({{"file_path", "trace.bin"}, {"db_file_path", "db.json"}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(json::parse(session.packets.at(0).metadata).at("modem_db_path"),
            (std::filesystem::current_path() / "db.json").string());
}

TEST_F(path_parameters_test, a_missing_relative_file_does_not_exist) {
  const working_directory inside(directory.path());
  EXPECT_EQ(init_failure({{"file_path", "none.bin"}}), "trace file does not exist");
}

// --- the home directory ----------------------------------------------------------------

TEST_F(path_parameters_test, a_relative_tilde_names_a_directory_called_tilde) {
  const environment_variable home("HOME", "/nowhere");
  directory.write("~/trace.bin", "tilde");
  const working_directory inside(directory.path());
  expect_reads("~/trace.bin", "tilde");
}

TEST_F(path_parameters_test, a_relative_tilde_does_not_mean_home) {
  const environment_variable home("HOME", directory.path().string());
  directory.write("trace.bin", "home");
  std::filesystem::create_directory(directory.path() / "work");
  const working_directory inside(directory.path() / "work");
  EXPECT_EQ(init_failure({{"file_path", "~/trace.bin"}}), "trace file does not exist");
}

TEST_F(path_parameters_test, a_tilde_in_an_absolute_path_becomes_home) {
  const environment_variable home("HOME", "user");
  directory.write("user/trace.bin", "home");
  expect_reads(absolute("~/trace.bin"), "home");
}

TEST_F(path_parameters_test, home_is_put_in_unchanged) {
  const environment_variable home("HOME", "/user");
  directory.write("user/trace.bin", "home");
  expect_reads(absolute("~/trace.bin"), "home");
}

TEST_F(path_parameters_test, a_tilde_inside_a_name_becomes_home_too) {
  const environment_variable home("HOME", "B");
  directory.write("aBc.bin", "inside");
  expect_reads(absolute("a~c.bin"), "inside");
}

TEST_F(path_parameters_test, only_the_first_tilde_becomes_home) {
  const environment_variable home("HOME", "user");
  directory.write("user/~/trace.bin", "first");
  expect_reads(absolute("~/~/trace.bin"), "first");
}

TEST_F(path_parameters_test, a_tilde_in_home_stays) {
  const environment_variable home("HOME", "us~er");
  directory.write("us~er/trace.bin", "tilde");
  expect_reads(absolute("~/trace.bin"), "tilde");
}

TEST_F(path_parameters_test, an_empty_home_drops_the_tilde) {
  const environment_variable home("HOME", "");
  directory.write("ab.bin", "empty");
  expect_reads(absolute("a~b.bin"), "empty");
}

TEST_F(path_parameters_test, a_variable_with_an_absolute_path_expands_the_tilde) {
  const environment_variable home("HOME", "user");
  directory.write("user/trace.bin", "home");
  const environment_variable variable("VELTRA_TRACE", absolute("~/trace.bin"));
  expect_reads("${env:VELTRA_TRACE}", "home");
}

TEST_F(path_parameters_test, a_tilde_in_the_database_path_becomes_home) {
  const environment_variable home("HOME", "user");
  const auto file = directory.write("user/db.json", test_support::minimal_database().dump());
  open({{"file_path", write_trace("x")}, {"db_file_path", absolute("~/db.json")}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(json::parse(session.packets.at(0).metadata).at("modem_db_path"), file.string());
}

TEST_F(path_parameters_test, a_tilde_without_home_is_refused_with_a_text) {
  const environment_variable home("HOME", std::nullopt);
  EXPECT_THAT(init_failure({{"file_path", absolute("~/trace.bin")}}), HasSubstr("HOME"));
}

TEST_F(path_parameters_test, home_is_not_needed_without_a_tilde) {
  const environment_variable home("HOME", std::nullopt);
  expect_reads(write_trace("plain"), "plain");
}

// --- text ------------------------------------------------------------------------------

TEST_F(path_parameters_test, paths_are_utf8) {
  directory.write("Spur-\xC3\xA4\xE6\x97\xA5\xF0\x9F\x93\xA1.bin", "utf8");
  expect_reads(directory.path().string() + "/Spur-\xC3\xA4\xE6\x97\xA5\xF0\x9F\x93\xA1.bin",
               "utf8");
}

TEST_F(path_parameters_test, blanks_and_apostrophes_in_a_path_are_kept) {
  directory.write(" a 'b' .bin", "blanks");
  expect_reads(directory.path().string() + "/ a 'b' .bin", "blanks");
}

}  // namespace
