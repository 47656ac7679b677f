#include "host/output/piece.h"

#include <gtest/gtest.h>

#include "tests/support/temp_directory.h"

namespace veltra::host {
namespace {

// Times are local, and tests run in whatever zone there is: what is checked is the form.
TEST(piece, its_file_carries_number_and_time_in_front_of_the_extension) {
  const std::string name = piece_path("dir/modem.pcapng", {7, 1714564800}).generic_string();
  EXPECT_EQ(name.substr(0, 17), "dir/modem_00007_2");
  EXPECT_EQ(name.substr(name.size() - 9), "00.pcapng");
  EXPECT_EQ(name.size(), std::string("dir/modem_00007_20240501120000.pcapng").size());
  EXPECT_EQ(piece_path("a.trace", {123456, 0}).string().substr(0, 9), "a_123456_");
}

TEST(piece, those_of_a_series_are_found_in_their_order_and_nothing_else_is) {
  const test_support::temp_directory directory;
  for (const char* name :
       {"a_00002_20240501120000.trace", "a_00001_20240502120000.trace",
        "a_00010_20240501130000.trace", "a_00003_20240501120000.pcapng",
        "ab_00001_20240501120000.trace", "a_0001_20240501120000.trace", "a.trace", "a_.trace",
        "a_00001_2024050112000x.trace", "a_00001_20240501120000.trace.json"}) {
    directory.write(name, "");
  }
  const auto found = find_pieces(directory.path() / "a.trace");
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[0].filename(), "a_00002_20240501120000.trace");
  EXPECT_EQ(found[1].filename(), "a_00010_20240501130000.trace");
  EXPECT_EQ(found[2].filename(), "a_00001_20240502120000.trace");
  EXPECT_TRUE(find_pieces(directory.path() / "none" / "a.trace").empty());
}

}  // namespace
}  // namespace veltra::host
