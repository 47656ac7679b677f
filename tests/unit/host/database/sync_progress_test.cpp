#include "host/database/sync_progress.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "tests/support/paths.h"

namespace veltra::host {
namespace {

using test_support::native;

class sync_progress_test : public testing::Test {
 protected:
  using step = sync_step;

  void take(std::initializer_list<std::pair<sync_step, const char*>> steps) {
    for (const auto& [each, detail] : steps) progress.on_step(each, detail);
  }

  // What has been shown so far.
  std::string shown() {
    std::rewind(file.get());
    std::string text;
    for (int c = std::fgetc(file.get()); c != EOF; c = std::fgetc(file.get())) {
      text += static_cast<char>(c);
    }
    std::fseek(file.get(), 0, SEEK_END);
    return text;
  }

  std::unique_ptr<std::FILE, decltype(&std::fclose)> file{std::tmpfile(), &std::fclose};
  sync_progress progress{"cache", file.get()};
};

TEST_F(sync_progress_test, an_intact_database_gets_a_line_below_the_cache) {
  take({{step::database_checked, "cache/a/1/u/fw.json"}});
  EXPECT_EQ(shown(), native("a/1/u/fw.json: "));
  progress.finish(false);
  EXPECT_EQ(shown(), native("a/1/u/fw.json: intact\n"));
  EXPECT_EQ(progress.databases(), 1U);
  EXPECT_EQ(progress.downloads(), 0U);
}

TEST_F(sync_progress_test, the_next_line_ends_the_one_before) {
  take({{step::database_checked, "cache/a"},
        {step::database_requested, "u"},
        {step::database_checked, "cache/b"}});
  EXPECT_EQ(shown(), "a: downloaded\nb: ");
  EXPECT_EQ(progress.downloads(), 1U);
}

TEST_F(sync_progress_test, a_file_outside_the_cache_keeps_its_whole_name) {
  const std::string outside = native("/dbs/fw.json");
  take({{step::database_checked, outside.c_str()}});
  progress.finish(false);
  EXPECT_EQ(shown(), outside + ": intact\n");
}

TEST_F(sync_progress_test, a_failure_ends_the_line_that_it_hit) {
  take({{step::database_checked, "cache/a"}, {step::database_requested, "u"}});
  progress.finish(true);
  EXPECT_EQ(shown(), "a: failed\n");
}

TEST_F(sync_progress_test, the_last_location_that_failed_says_why) {
  take({{step::catalogue_requested, ""}, {step::catalogue_failed, "gone"}});
  progress.finish(true);
  EXPECT_EQ(shown(), "config.json: not fetched: gone\n");
}

TEST_F(sync_progress_test, each_location_of_the_catalogue_has_its_line) {
  take({{step::catalogue_requested, ""},
        {step::catalogue_failed, "gone"},
        {step::catalogue_requested, ""},
        {step::catalogue_compared, ""},
        {step::catalogue_written, ""}});
  progress.finish(false);
  EXPECT_EQ(shown(), "config.json: not fetched: gone\nconfig.json: new\n");
}

TEST_F(sync_progress_test, a_catalogue_that_is_not_newer_is_up_to_date) {
  take({{step::catalogue_requested, ""}, {step::catalogue_compared, ""}});
  progress.finish(false);
  EXPECT_EQ(shown(), "config.json: up to date\n");
}

TEST_F(sync_progress_test, nothing_is_shown_when_nothing_began) {
  progress.finish(true);
  EXPECT_EQ(shown(), "");
}

}  // namespace
}  // namespace veltra::host
