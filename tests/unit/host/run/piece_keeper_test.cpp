#include "host/run/piece_keeper.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

class piece_keeper_test : public testing::Test {
 protected:
  std::filesystem::path make(std::uint32_t number, std::int64_t begin) {
    const std::filesystem::path path = piece_path(base_, {number, begin});
    std::ofstream(path) << number;
    return path;
  }

  std::size_t files() const { return find_pieces(base_).size(); }

  // Every file that is there costs 1.
  piece_keeper::free_space free_space() const {
    return [this](const std::filesystem::path&) { return 10 - files(); };
  }

  std::function<void(const std::string&)> notes() {
    return [this](const std::string& text) { notes_.push_back(text); };
  }

  const test_support::temp_directory directory_;
  const std::filesystem::path base_ = directory_.path() / "a.trace";
  std::vector<std::string> notes_;
};

TEST_F(piece_keeper_test, keeps_the_latest_pieces_with_the_one_under_way_among_them) {
  piece_keeper keeper({.max_pieces = 3, .bases = {base_}}, notes());
  std::vector<std::filesystem::path> paths;
  for (std::uint32_t number = 1; number <= 5; ++number) {
    keeper.begin({number, number});
    paths.push_back(make(number, number));
    if (number < 5) keeper.add({number, number}, paths.back());
  }
  keeper.finish();
  EXPECT_EQ(find_pieces(base_), (std::vector{paths[2], paths[3], paths[4]}));
}

TEST_F(piece_keeper_test, a_file_that_is_complete_late_is_surplus_all_the_same) {
  piece_keeper keeper({.max_pieces = 1, .bases = {base_}}, notes());
  keeper.begin({1, 1});
  keeper.begin({2, 2});
  keeper.add({1, 1}, make(1, 1));
  keeper.finish();
  EXPECT_EQ(files(), 0U);
}

TEST_F(piece_keeper_test, deletes_what_belongs_to_a_piece_with_it) {
  piece_keeper keeper({.max_pieces = 1, .bases = {base_}}, notes());
  const std::filesystem::path path = make(1, 1);
  std::ofstream(path.string() + ".json") << "{}";
  keeper.add({1, 1}, path);
  keeper.begin({2, 2});
  keeper.finish();
  EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
}

TEST_F(piece_keeper_test, without_a_number_of_files_all_stay_and_a_shortage_is_the_end) {
  piece_keeper keeper({.min_free = 7, .bases = {base_}}, notes(), free_space());
  for (std::uint32_t number = 1; number <= 3; ++number) make(number, number);
  EXPECT_TRUE(keeper.make_room());
  make(4, 4);
  EXPECT_FALSE(keeper.make_room());
  EXPECT_EQ(files(), 4U);
  EXPECT_EQ(keeper.describe_shortage(),
            "less than 7 B are free in " + directory_.path().generic_string());
}

TEST_F(piece_keeper_test, makes_room_by_deleting_the_oldest_of_earlier_runs_too) {
  piece_keeper keeper({.max_pieces = 9, .min_free = 8, .bases = {base_}}, notes(), free_space());
  make(7, 100000);
  make(8, 200000);
  keeper.begin({1, 300000});
  const auto finished = make(1, 300000);
  keeper.add({1, 300000}, finished);
  keeper.begin({2, 400000});
  const auto under_way = make(2, 400000);
  EXPECT_TRUE(keeper.make_room());
  EXPECT_EQ(find_pieces(base_), (std::vector{finished, under_way}));
}

TEST_F(piece_keeper_test, never_deletes_the_piece_under_way) {
  piece_keeper keeper({.max_pieces = 9, .min_free = 10, .bases = {base_}}, notes(), free_space());
  keeper.begin({2, 400000});
  make(1, 300000);
  make(2, 400000);
  EXPECT_FALSE(keeper.make_room());
  EXPECT_EQ(files(), 1U);
}

TEST_F(piece_keeper_test, runs_the_command_with_each_name_in_their_order) {
  const std::filesystem::path log = directory_.path() / "log";
  piece_keeper keeper({.command = "printf '%s;' >>'" + log.string() + "'", .bases = {base_}},
                      notes());
  keeper.add({1, 1}, "a file");
  keeper.add({2, 2}, "b$(c)");
  keeper.finish();
  std::ifstream file(log);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(text, "a file;b$(c);");
  EXPECT_TRUE(notes_.empty());
}

TEST_F(piece_keeper_test, reports_a_command_that_fails) {
  piece_keeper keeper({.command = "false", .bases = {base_}}, notes());
  const auto path = make(1, 1);
  keeper.add({1, 1}, path);
  keeper.finish();
  EXPECT_EQ(notes_, std::vector{"\"false\" for " + path.string() + " ended with exit code 1."});
}

}  // namespace
}  // namespace veltra::host
