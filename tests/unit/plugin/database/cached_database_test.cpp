// What a cache is found to hold: nothing is changed and nothing downloaded.
#include "plugin/database/cached_database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugin/database/database_locator.h"
#include "plugin/database/file_io.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

namespace fs = std::filesystem;
using test_support::catalogue_of;
using test_support::listed_database;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// --- digests -------------------------------------------------------------------------

// Examples of FIPS 180-4 as NIST publishes them.
constexpr const char* digest_of_nothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* digest_of_abc =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(digest_test, the_digest_is_64_lower_case_digits_in_digest_order) {
  EXPECT_EQ(sha256_hex("abc"), digest_of_abc);
  EXPECT_EQ(sha256_hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(sha256_hex(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(digest_test, the_digest_of_no_bytes_matches_an_empty_file) {
  EXPECT_EQ(sha256_hex(""), digest_of_nothing);
  EXPECT_TRUE(database_file_intact("", digest_of_nothing));
}

TEST(digest_test, bytes_are_digested_whole_with_nul_and_line_ends) {
  EXPECT_NE(sha256_hex(std::string_view("a\0b", 3)), sha256_hex("a"));
  EXPECT_NE(sha256_hex("a\r\nb"), sha256_hex("a\nb"));
}

TEST(digest_test, only_the_exact_digest_is_intact) {
  const std::string digest = digest_of_abc;
  EXPECT_TRUE(database_file_intact("abc", digest));
  EXPECT_FALSE(database_file_intact("abd", digest));
  std::string upper = digest;
  for (char& c : upper) c = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
  EXPECT_FALSE(database_file_intact("abc", upper));
  EXPECT_FALSE(database_file_intact("abc", " " + digest));
  EXPECT_FALSE(database_file_intact("abc", digest + " "));
  EXPECT_FALSE(database_file_intact("abc", digest + '\0'));
  EXPECT_FALSE(database_file_intact("abc", "sha256:" + digest));
  EXPECT_FALSE(database_file_intact("abc", digest.substr(0, 63)));
  EXPECT_FALSE(database_file_intact("abc", ""));
}

// --- databases -----------------------------------------------------------------------

class cached_database_test : public testing::Test {
 protected:
  static listed_database listed(const std::string& version, const std::string& path,
                                const std::string& content) {
    return {"modem-a", version, "uuid-" + version, path, sha256_hex(content)};
  }

  void write_catalogue(const std::vector<listed_database>& databases) {
    cache.write("config.json", catalogue_of("2024-05-01 12:00:00", databases).dump());
  }

  // The only database of a catalogue that lists one.
  cached_database only() {
    const std::vector<cached_database> all = list_cached_databases(cache.path());
    EXPECT_THAT(all, SizeIs(1));
    return all.empty() ? cached_database{} : all.front();
  }

  test_support::temp_directory cache;
};

TEST_F(cached_database_test, an_intact_database_is_named_with_its_file) {
  write_catalogue({listed("1.0", "${root}fw.json", "content")});
  const fs::path file = cache.write("modem-a/1.0/uuid-1.0/fw.json", "content");
  const cached_database database = only();
  EXPECT_EQ(database.device, "modem-a");
  EXPECT_EQ(database.version, "1.0");
  EXPECT_EQ(database.uuid, "uuid-1.0");
  EXPECT_EQ(database.location, "${root}fw.json");
  EXPECT_EQ(database.file, file);
  EXPECT_EQ(database.state, database_state::intact);
  EXPECT_THAT(database.reason, IsEmpty());
}

TEST_F(cached_database_test, a_database_without_a_file_is_missing) {
  write_catalogue({listed("1.0", "${root}fw.json", "content")});
  EXPECT_EQ(only().state, database_state::missing);
}

TEST_F(cached_database_test, a_file_with_another_digest_is_damaged) {
  write_catalogue({listed("1.0", "${root}fw.json", "content")});
  cache.write("modem-a/1.0/uuid-1.0/fw.json", "conten");
  EXPECT_EQ(only().state, database_state::damaged);
}

TEST_F(cached_database_test, a_directory_in_a_databases_place_is_unreadable_with_the_reason) {
  write_catalogue({listed("1.0", "${root}fw.json", "content")});
  fs::create_directories(cache.path() / "modem-a/1.0/uuid-1.0/fw.json");
  const cached_database database = only();
  EXPECT_EQ(database.state, database_state::unreadable);
  EXPECT_THAT(database.reason, HasSubstr("cannot open file: "));
}

TEST_F(cached_database_test, an_intact_database_under_another_extension_is_hidden) {
  write_catalogue({listed("1.0", "${root}fw.tgz", "content")});
  cache.write("modem-a/1.0/uuid-1.0/fw.tgz", "content");
  const cached_database database = only();
  EXPECT_EQ(database.state, database_state::hidden);
  EXPECT_THAT(database.reason, HasSubstr(".json and .gz"));
}

TEST_F(cached_database_test, an_intact_database_outside_the_cache_is_hidden) {
  const test_support::temp_directory elsewhere;
  const fs::path file = elsewhere.write("fw.json", "content");
  write_catalogue({listed("1.0", "${root}" + file.string(), "content")});
  const cached_database database = only();
  EXPECT_EQ(database.file, file);
  EXPECT_EQ(database.state, database_state::hidden);
}

TEST_F(cached_database_test,
       of_two_files_in_one_directory_the_one_that_the_search_skips_is_hidden) {
  const fs::path directory = cache.path() / "modem-a/1.0/uuid-1.0";
  cache.write("modem-a/1.0/uuid-1.0/a.json", "content");
  cache.write("modem-a/1.0/uuid-1.0/b.json", "content");
  // Which of the two comes first is the file system's choice.
  const std::string first = fs::directory_iterator(directory)->path().filename().string();
  const std::string second = first == "a.json" ? "b.json" : "a.json";

  write_catalogue({listed("1.0", "${root}" + first, "content")});
  EXPECT_EQ(only().state, database_state::intact);
  EXPECT_EQ(only().reason, "");

  write_catalogue({listed("1.0", "${root}" + second, "content")});
  EXPECT_EQ(only().state, database_state::hidden);
  EXPECT_EQ(only().reason, "the search takes " + first + " instead");
}

TEST_F(cached_database_test, every_entry_is_listed_in_the_catalogues_order) {
  write_catalogue({listed("2.0", "${root}b.json", "b"),
                   listed("1.0", "${root}a.json", "a"),
                   {"modem-b", "1.0", "uuid-b", "${root}c.json", sha256_hex("c")}});
  cache.write("modem-a/1.0/uuid-1.0/a.json", "a");
  const std::vector<cached_database> all = list_cached_databases(cache.path());
  ASSERT_THAT(all, SizeIs(3));
  EXPECT_EQ(all[0].uuid, "uuid-2.0");
  EXPECT_EQ(all[0].state, database_state::missing);
  EXPECT_EQ(all[1].uuid, "uuid-1.0");
  EXPECT_EQ(all[1].state, database_state::intact);
  EXPECT_EQ(all[2].device, "modem-b");
}

TEST_F(cached_database_test, nothing_is_made_in_the_cache) {
  write_catalogue({listed("1.0", "${root}fw.json", "content")});
  list_cached_databases(cache.path());
  EXPECT_FALSE(fs::exists(cache.path() / "modem-a"));
}

TEST_F(cached_database_test, a_cache_without_catalogue_is_an_error_that_names_the_file) {
  try {
    list_cached_databases(cache.path());
    FAIL() << "nothing was thrown";
  } catch (const file_error& failure) {
    EXPECT_EQ(failure.what(), "cannot open file: " + (cache.path() / "config.json").string());
  }
}

TEST_F(cached_database_test, a_catalogue_that_is_none_is_an_error) {
  cache.write("config.json", "not here");
  EXPECT_THROW(list_cached_databases(cache.path()), kovax::json::parse_error);
  cache.write("config.json", "{}");
  EXPECT_THROW(list_cached_databases(cache.path()), kovax::json::type_error);
}

TEST_F(cached_database_test, a_file_without_digest_in_the_catalogue_is_unreadable) {
  auto catalogue =
      catalogue_of("2024-05-01 12:00:00", {listed("1.0", "${root}fw.json", "content")});
  catalogue["firmwares"]["devices"][0]["versions"][0]["database"].erase("sha256");
  cache.write("config.json", catalogue.dump());
  cache.write("modem-a/1.0/uuid-1.0/fw.json", "content");
  const cached_database database = only();
  EXPECT_EQ(database.state, database_state::unreadable);
  EXPECT_THAT(database.reason, HasSubstr("type must be string, but is null"));
}

}  // namespace
}  // namespace veltra
