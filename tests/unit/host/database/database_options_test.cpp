#include "host/database/database_options.h"

#include <gmock/gmock.h>

#include <CLI/CLI.hpp>

#include "platform/shell.h"

namespace veltra::host {
namespace {

using kovax::json;
using platform::shell_word;

TEST(sync_command_line, has_a_place_for_a_location_that_is_not_known) {
  database_options options;
  options.cache = "my cache";
  EXPECT_EQ(sync_command_line(options),
            "veltra db sync --cache " + shell_word("my cache") + " --update --location URL");
}

TEST(sync_command_line, repeats_what_was_given) {
  database_options options;
  options.cache = "c";
  options.locations = {"${root}a.json", "http://b"};
  options.root = "file:///r";
  options.proxy = "host:3128";
  EXPECT_EQ(sync_command_line(options),
            "veltra db sync --cache c --update --location " + shell_word("${root}a.json") +
                " --location http://b --root file:///r --proxy host:3128");
}

TEST(cache_parameters, without_further_options_use_the_cache_as_it_is) {
  database_options options;
  options.cache = "c";
  EXPECT_EQ(cache_parameters(options), (json{{"cache_directory", "c"}, {"update_cache", false}}));
}

TEST(cache_parameters, hold_every_option) {
  database_options options;
  options.cache = "${env:C}";
  options.locations = {"a"};
  options.root = "r";
  options.proxy = "p";
  options.update = true;
  EXPECT_EQ(cache_parameters(options), (json{{"cache_directory", "./${env:C}"},
                                             {"update_cache", true},
                                             {"trace_db_locations", {"a"}},
                                             {"root", "r"},
                                             {"proxy_setting", "p"}}));
}

TEST(cache_parameters, an_empty_proxy_is_one_that_turns_the_environments_off) {
  database_options options;
  options.cache = "c";
  options.proxy = "";
  EXPECT_EQ(cache_parameters(options).at("proxy_setting"), "");
  EXPECT_EQ(sync_command_line(options),
            "veltra db sync --cache c --update --location URL --proxy " + shell_word(""));
}

class catalogue_options_test : public testing::Test {
 protected:
  catalogue_options_test() {
    add_catalogue_options(app, options, app.add_option("--cache", options.cache));
  }

  CLI::App app;
  database_options options;
};

TEST_F(catalogue_options_test, several_locations_keep_their_order) {
  app.parse("--cache c --update --location b --location a");
  EXPECT_THAT(options.locations, testing::ElementsAre("b", "a"));
  EXPECT_TRUE(options.update);
}

TEST_F(catalogue_options_test, a_proxy_may_be_empty_and_the_rest_may_not) {
  app.parse(std::vector<std::string>{"", "--proxy", "c", "--cache"});
  EXPECT_EQ(options.proxy, "");
  for (const char* name : {"--location", "--root"}) {
    EXPECT_THROW(app.parse(std::vector<std::string>{"", name, "c", "--cache"}),
                 CLI::ValidationError)
        << name;
  }
}

TEST_F(catalogue_options_test, an_update_needs_a_location) {
  EXPECT_THROW(app.parse("--cache c --update"), CLI::RequiresError);
}

TEST_F(catalogue_options_test, all_need_the_cache) {
  for (const char* given : {"--location a", "--root r", "--proxy p"}) {
    EXPECT_THROW(app.parse(given), CLI::RequiresError) << given;
  }
}

}  // namespace
}  // namespace veltra::host
