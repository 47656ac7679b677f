#include "plugin/database/digests_ahead.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "plugin/database/cached_database.h"
#include "tests/support/temp_directory.h"

namespace {

using veltra::digests_ahead;
namespace fs = std::filesystem;

class digests_ahead_test : public testing::Test {
 protected:
  fs::path write(const std::string& name, const std::string& content) {
    std::ofstream(directory_.path() / name, std::ios::binary) << content;
    return directory_.path() / name;
  }

  test_support::temp_directory directory_;
};

TEST_F(digests_ahead_test, every_file_has_its_digest_whatever_the_order_of_the_questions) {
  std::vector<fs::path> files;
  std::vector<std::string> contents;
  for (int i = 0; i < 40; ++i) {
    contents.emplace_back(static_cast<std::size_t>(i) * 30000, static_cast<char>(i));
    files.push_back(write(std::to_string(i), contents.back()));
  }
  files.push_back(files[7]);
  digests_ahead digests(files);
  for (std::size_t i = contents.size(); i-- > 0;) {
    EXPECT_EQ(digests.take(files[i]), veltra::sha256_hex(contents[i])) << i;
  }
  EXPECT_EQ(digests.take(files[7]), veltra::sha256_hex(contents[7]));
}

TEST_F(digests_ahead_test, what_it_cannot_say_is_nothing) {
  const fs::path changed = write("changed", "before");
  const fs::path written = write("written", "content");
  const fs::path missing = directory_.path() / "missing";
  digests_ahead digests({changed, written, missing, directory_.path()});
  ASSERT_TRUE(digests.take(changed));
  write("changed", "something else");
  digests.forget(written);
  EXPECT_FALSE(digests.take(changed));
  EXPECT_FALSE(digests.take(written));
  EXPECT_FALSE(digests.take(missing));
  EXPECT_FALSE(digests.take(directory_.path()));
  EXPECT_FALSE(digests.take("another"));
}

TEST_F(digests_ahead_test, a_single_file_is_left_to_its_user) {
  const fs::path file = write("file", "content");
  EXPECT_FALSE(digests_ahead({file}).take(file));
}

TEST_F(digests_ahead_test, an_end_before_the_last_file_waits_for_no_more_than_those_under_way) {
  std::vector<fs::path> files;
  for (int i = 0; i < 10; ++i) files.push_back(write(std::to_string(i), std::string(1 << 20, 'x')));
  EXPECT_NO_THROW(digests_ahead{files});
}

}  // namespace
