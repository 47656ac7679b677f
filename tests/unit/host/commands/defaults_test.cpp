#include "host/commands/defaults.h"

#include <gmock/gmock.h>

#include "tests/support/environment_variable.h"
#include "tests/unit/host/commands/command_tree.h"

namespace veltra::host {
namespace {

using test_support::environment_variable;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

// A parser with the relations that the program's options have.
class defaults_test : public command_tree_test {
 protected:
  defaults_test() {
    app_.require_subcommand(1);
    CLI::App* const decode = app_.add_subcommand("decode", "Decode");
    CLI::Option* const file = decode->add_option("-d,--database", "File");
    CLI::Option* const cache = decode->add_option("--cache", "Directory");
    file->excludes(cache);
    decode->add_option("--location", locations_, "Place")->allow_extra_args(false)->needs(cache);
    decode->add_flag("--update", updates_, "Update")->needs(decode->get_option("--location"));
    decode->add_option("TRACE", "Trace");
    app_.add_subcommand("db", "Databases")
        ->add_subcommand("list", "List")
        ->add_option("--cache", "Directory")
        ->required();
  }

  // The words behind "veltra" with the defaults.
  std::vector<std::string> with_defaults(std::vector<std::string> words) {
    words.insert(words.begin(), "veltra");
    std::vector<const char*> pointers;
    for (const std::string& word : words) pointers.push_back(word.c_str());
    try {
      app_.parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (const CLI::ParseError&) {
      // As on the command line: something may be missing.
    }
    words = add_defaults(words, app_, read_defaults(app_));
    words.erase(words.begin());
    return words;
  }

  void configure(const std::string& text) {
    test_support::change_environment(configuration_variable,
                                     platform::path_to_utf8(directory_.write("veltra.toml", text)));
  }

  // Those of whoever runs the tests have no effect.
  const environment_variable cache_{"VELTRA_CACHE", std::nullopt};
  const environment_variable location_{"VELTRA_LOCATION", std::nullopt};
  const environment_variable root_{"VELTRA_ROOT", std::nullopt};
  const environment_variable plugin_{"VELTRA_PLUGIN", std::nullopt};
  const environment_variable configuration_{configuration_variable, ""};
  CLI::App app_{"veltra", "veltra"};
  std::vector<std::string> locations_;
  bool updates_ = false;
};

using word_list = std::vector<std::string>;

TEST_F(defaults_test, without_any_the_line_stays_as_it_was_typed) {
  EXPECT_EQ(with_defaults({"decode", "t"}), (word_list{"decode", "t"}));
}

TEST_F(defaults_test, the_environment_gives_what_was_not_typed) {
  const environment_variable cache("VELTRA_CACHE", "c d");
  const environment_variable location("VELTRA_LOCATION", "file:///l");
  EXPECT_EQ(with_defaults({"decode", "t"}),
            (word_list{"decode", "--cache=c d", "--location=file:///l", "t"}));
  EXPECT_EQ(with_defaults({"db", "list"}), (word_list{"db", "list", "--cache=c d"}));
}

TEST_F(defaults_test, what_was_typed_comes_first) {
  const environment_variable cache("VELTRA_CACHE", "c");
  EXPECT_EQ(with_defaults({"decode", "--cache", "x", "t"}),
            (word_list{"decode", "--cache", "x", "t"}));
}

TEST_F(defaults_test, a_default_gives_way_to_an_option_that_excludes_it) {
  const environment_variable cache("VELTRA_CACHE", "c");
  const environment_variable location("VELTRA_LOCATION", "file:///l");
  EXPECT_EQ(with_defaults({"decode", "t", "-d", "d"}), (word_list{"decode", "t", "-d", "d"}));
}

TEST_F(defaults_test, a_file_has_values_for_all_commands_and_for_one) {
  configure(
      "# comment\n"
      "cache = \"/srv/data bases\"\n"
      "location = [\"file:///a\", \"file:///b\"]\n"
      "[db.list]\n"
      "cache = other\n"
      "[decode]\n"
      "update = true\n");
  EXPECT_EQ(with_defaults({"decode", "t"}),
            (word_list{"decode", "--cache=/srv/data bases", "--location=file:///a",
                       "--location=file:///b", "--update=true", "t"}));
  EXPECT_EQ(with_defaults({"db", "list"}), (word_list{"db", "list", "--cache=other"}));
}

TEST_F(defaults_test, the_environment_comes_before_the_files) {
  configure("cache = \"of-the-file\"\n[decode]\ncache = \"also\"\n");
  const environment_variable cache("VELTRA_CACHE", "c");
  EXPECT_EQ(with_defaults({"decode"}), (word_list{"decode", "--cache=c"}));
}

TEST_F(defaults_test, an_empty_variable_means_none_whatever_the_files_say) {
  configure("cache = \"of-the-file\"\n");
  const environment_variable cache("VELTRA_CACHE", "");
  EXPECT_EQ(with_defaults({"decode"}), (word_list{"decode"}));
}

TEST_F(defaults_test, a_flag_that_is_off_is_left_out) {
  configure("cache = \"c\"\nlocation = \"l\"\nupdate = false\n");
  EXPECT_EQ(with_defaults({"decode"}), (word_list{"decode", "--cache=c", "--location=l"}));
}

TEST_F(defaults_test, a_name_that_no_command_has_is_refused_with_the_one_that_was_meant) {
  const auto refusal = [&](const std::string& text) {
    configure(text);
    return refusal_of([&] { read_defaults(app_); }, exit_code::bad_input);
  };
  EXPECT_THAT(refusal("cahce = \"c\"\n"),
              HasSubstr("veltra.toml: \"cahce\" is not an option; did you mean cache?"));
  EXPECT_THAT(refusal("[decode]\ndatabsae = \"c\"\n"),
              HasSubstr("\"databsae\" is not an option of decode; did you mean database?"));
  EXPECT_THAT(refusal("[decoed]\ncache = \"c\"\n"),
              HasSubstr("[decoed] is not a command; did you mean decode?"));
}

TEST_F(defaults_test, a_file_that_was_named_must_be_there) {
  const environment_variable file(configuration_variable, name_of("none"));
  EXPECT_THAT(refusal_of([&] { read_defaults(app_); }, exit_code::bad_input),
              HasSubstr("none: cannot be read"));
}

// --- the program ---------------------------------------------------------------------------

TEST_F(defaults_test, defaults_reach_the_commands) {
  const environment_variable cache("VELTRA_CACHE", name_of("no cache"));
  EXPECT_THAT(refusal_of(
                  [&] {
                    veltra({"db", "list"});
                  },
                  exit_code::bad_input),
              HasSubstr("no cache"));
}

TEST_F(defaults_test, a_wrong_value_is_reported_with_the_command_that_shows_where_it_is_from) {
  configure("[capture]\nbaud-rate = \"fast\"\n");
  EXPECT_EQ(veltra({"capture", "port", "--raw", "x"}), exit_code::usage);
  EXPECT_THAT(printed_, AllOf(HasSubstr("--baud-rate"), HasSubstr("veltra config.\n")));
}

TEST_F(defaults_test, help_does_without_the_configuration) {
  configure("nonsense = 1\n");
  EXPECT_THAT(help_of({"decode"}), HasSubstr("Usage: veltra decode"));
  EXPECT_THAT(output_of({"--version"}), HasSubstr("veltra "));
}

TEST_F(defaults_test, config_shows_each_value_and_where_it_comes_from) {
  configure("cache = \"of-the-file\"\n[capture]\nbaud-rate = 921600\n");
  const environment_variable root("VELTRA_ROOT", "file:///r");
  const std::string shown = output_of({"config"});
  EXPECT_THAT(shown, ContainsRegex("cache +of-the-file +.*veltra.toml\n"));
  EXPECT_THAT(shown, ContainsRegex("capture baud-rate +921600 +.*veltra.toml\n"));
  EXPECT_THAT(shown, ContainsRegex("root +file:///r +VELTRA_ROOT\n"));
  EXPECT_THAT(shown, ContainsRegex("plugin +- +not set\n"));
  EXPECT_THAT(shown, ContainsRegex("file +.*veltra.toml +read\n"));

  const json values = json::parse(output_of({"config", "--json"})).at("values");
  EXPECT_EQ(values.at(0), (json{{"command", json::array()},
                                {"option", "root"},
                                {"values", {"file:///r"}},
                                {"origin", "VELTRA_ROOT"}}));
}

}  // namespace
}  // namespace veltra::host
