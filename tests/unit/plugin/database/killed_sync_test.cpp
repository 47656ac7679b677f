// A process that is killed in the middle of a synchronisation.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include "platform/file.h"
#include "plugin/database/cache_sync.h"
#include "plugin/database/cached_database.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using kovax::json;
using test_support::child_process;
using test_support::listed_database;

constexpr int database_count = 3;
constexpr std::size_t database_size = 200'000;  // bytes; many writes, still quick

// A source directory that publishes one generation of catalogue and databases
// after the other, and the cache made from it.
class killed_sync_test : public testing::Test {
 protected:
  static std::string content(int generation, int number) {
    std::string text = fmt::format("generation {} of {}\n", generation, number);
    text.resize(database_size, static_cast<char>('a' + generation % 26));
    return text;
  }

  static std::string name(int number) { return fmt::format("fw{}.json", number); }

  static json catalogue(int generation) {
    std::vector<listed_database> listed;
    for (int i = 0; i < database_count; ++i) {
      listed.push_back({"modem", std::to_string(i), "uuid", "${root}" + name(i),
                        sha256_hex(content(generation, i))});
    }
    return test_support::catalogue_of(
        fmt::format("2024-05-01 {:02}:{:02}:00", generation / 60, generation % 60), listed);
  }

  void publish(int generation) {
    source_.write("config.json", catalogue(generation).dump());
    for (int i = 0; i < database_count; ++i) source_.write(name(i), content(generation, i));
  }

  fs::path cached(int number) const {
    return cache_.path() / "modem" / std::to_string(number) / "uuid" / name(number);
  }

  std::vector<std::string> sync_command() const {
    return {VELTRA_SYNC_PROGRAM, platform::path_to_utf8(cache_.path()),
            "file://" + platform::path_to_utf8(source_.path())};
  }

  // Every file that is there is whole: of the generation before or of this one.
  void expect_no_half_written_file(int generation) const {
    const fs::path cached_catalogue = cache_.path() / "config.json";
    if (fs::exists(cached_catalogue)) {
      const std::string text = read_file(cached_catalogue);
      EXPECT_TRUE(text == catalogue(generation).dump() || text == catalogue(generation - 1).dump());
    }
    for (int i = 0; i < database_count; ++i) {
      if (!fs::exists(cached(i))) continue;
      const std::string text = read_file(cached(i));
      EXPECT_TRUE(text == content(generation, i) || text == content(generation - 1, i)) << i;
    }
  }

  void expect_next_sync_succeeds(int generation) const {
    child_process next(sync_command());
    const auto ending = next.wait();
    ASSERT_FALSE(ending.killed);
    ASSERT_EQ(ending.exit_code, 0);
    EXPECT_EQ(read_file(cache_.path() / "config.json"), catalogue(generation).dump());
    for (int i = 0; i < database_count; ++i)
      EXPECT_EQ(read_file(cached(i)), content(generation, i));
  }

  test_support::temp_directory source_;
  test_support::temp_directory cache_;
};

TEST_F(killed_sync_test, a_kill_in_any_file_operation_leaves_whole_files) {
  // Four files, each created, written, brought to the device, closed and renamed.
  constexpr int steps = 5 * (1 + database_count);
  for (int step = 1; step <= steps + 1; ++step) {
    publish(step);
    auto command = sync_command();
    command.push_back(std::to_string(step));
    child_process killed(command);
    EXPECT_EQ(killed.wait().killed, step <= steps) << "step " << step;
    expect_no_half_written_file(step);
    expect_next_sync_succeeds(step);
    ASSERT_FALSE(HasFailure()) << "step " << step;
  }
}

TEST_F(killed_sync_test, after_a_hundred_kills_at_random_moments_the_next_sync_succeeds) {
  publish(1);
  const auto begin = std::chrono::steady_clock::now();
  expect_next_sync_succeeds(1);
  const auto whole_run = std::chrono::steady_clock::now() - begin;

  std::mt19937 random(20240501);
  int killed_count = 0;
  for (int generation = 2; generation <= 101; ++generation) {
    publish(generation);
    const auto moment = whole_run * static_cast<int>(random() % 1000) / 1000;
    child_process killed(sync_command());
    std::this_thread::sleep_for(moment);  // the moment itself is what is tried
    killed.kill();
    killed_count += killed.wait().killed ? 1 : 0;
    expect_no_half_written_file(generation);
    expect_next_sync_succeeds(generation);
    ASSERT_FALSE(HasFailure()) << "generation " << generation;
  }
  EXPECT_GT(killed_count, 0);
  RecordProperty("killed", killed_count);
}

}  // namespace
}  // namespace veltra
