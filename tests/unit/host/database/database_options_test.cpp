#include "host/database/database_options.h"

#include <gmock/gmock.h>

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

}  // namespace
}  // namespace veltra::host
