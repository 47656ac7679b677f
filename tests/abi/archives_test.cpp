// Database archives as they come: sound, cut and hostile.
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/source_fixture.h"
#include "tests/support/tar_builder.h"
#include "tests/support/value_tests.h"

namespace {

using test_support::compress;
using test_support::minimal_database;
using test_support::tar_archive;
using test_support::tar_directory;
using test_support::tar_end;
using test_support::tar_file;
using test_support::wrapping;
using testing::ElementsAre;
using testing::IsEmpty;

class archives_test : public test_support::source_fixture {
 protected:
  using json = kovax::json;

  static constexpr auto not_gzip = "Invalid gzip data";
  static constexpr auto invalid_database = "Trace database has missing fields or is invalid";
  // What an archive without a database ends in.
  static constexpr auto no_database = "dekodrix config not found";

  static std::string database_named(const std::string& name) {
    auto database = test_support::minimal_database();
    database["meta"]["name"] = name;
    return database.dump();
  }

  json parameters(std::string_view bytes) {
    return {{"file_path", write_trace("")},
            {"db_file_path", directory.write("db.tar.gz", bytes).string()}};
  }

  // Opens a compressed archive and returns the names of the databases read.
  std::vector<std::string> names_in(const std::string& tar) {
    open(parameters(test_support::compress(tar)));
    return names();
  }

  std::vector<std::string> names() const {
    constexpr std::string_view label = "processed config json: ";
    std::vector<std::string> result;
    for (const auto& text : session.log_texts()) {
      EXPECT_EQ(text.substr(0, label.size()), label);
      result.push_back(text.substr(label.size()));
    }
    return result;
  }

  // A member whose header has a wrong checksum.
  static std::string damaged_member() {
    std::string member = tar_file("odd", database_named("M4"));
    member.front() = 'x';
    return member;
  }

  std::string failure_of(const std::string& tar) {
    return init_failure(parameters(test_support::compress(tar)));
  }
};

// --- sound archives -----------------------------------------------------------------------

TEST_F(archives_test, one_database) {
  EXPECT_THAT(names_in(tar_archive({{"db.json", database_named("MCU")}})), ElementsAre("MCU"));
}

TEST_F(archives_test, two_databases_in_archive_order) {
  EXPECT_THAT(
      names_in(tar_archive({{"z.json", database_named("M4")}, {"a.json", database_named("MCU")}})),
      ElementsAre("M4", "MCU"));
}

TEST_F(archives_test, many_databases) {
  std::vector<std::pair<std::string, std::string>> files;
  for (int index = 0; index < 100; ++index) files.emplace_back("db", database_named("MCU"));
  EXPECT_EQ(names_in(tar_archive(files)).size(), 100U);
}

TEST_F(archives_test, the_names_of_members_do_not_matter) {
  EXPECT_THAT(names_in(tar_archive({{"readme.txt", database_named("MCU")},
                                    {"/abs/../../x", database_named("A")},
                                    {"", database_named("B")}})),
              ElementsAre("MCU", "A", "B"));
}

TEST_F(archives_test, a_name_of_99_characters_is_short_enough) {
  EXPECT_THAT(names_in(tar_archive({{std::string(99, 'n'), database_named("MCU")}})),
              ElementsAre("MCU"));
}

TEST_F(archives_test, a_zlib_stream_is_accepted_as_well) {
  open(parameters(compress(tar_archive({{"db.json", database_named("MCU")}}), wrapping::zlib)));
  EXPECT_THAT(names(), ElementsAre("MCU"));
}

TEST_F(archives_test, an_archive_that_compresses_very_well) {
  auto text = database_named("MCU");
  text.resize(20000000, ' ');
  EXPECT_THAT(names_in(tar_archive({{"a", text}, {"b", database_named("M4")}})),
              ElementsAre("MCU", "M4"));
}

TEST_F(archives_test, an_archive_that_does_not_compress) {
  auto database = minimal_database();
  std::string noise;
  for (const char byte : test_support::varied_bytes(300000)) {
    noise += static_cast<char>('0' + (static_cast<unsigned char>(byte) % 64));
  }
  database["noise"] = noise;
  EXPECT_THAT(names_in(tar_archive({{"a", database.dump()}})), ElementsAre("MCU"));
}

TEST_F(archives_test, bytes_behind_the_gzip_stream_are_ignored) {
  open(parameters(compress(tar_archive({{"a", database_named("MCU")}})) + "trailing bytes"));
  EXPECT_THAT(names(), ElementsAre("MCU"));
}

TEST_F(archives_test, a_second_gzip_member_is_ignored) {
  open(parameters(compress(tar_file("a", database_named("MCU"))) +
                  compress(tar_archive({{"b", database_named("M4")}}))));
  EXPECT_THAT(names(), ElementsAre("MCU"));
}

TEST_F(archives_test, what_follows_the_end_block_is_not_read) {
  EXPECT_THAT(
      names_in(tar_archive({{"a", database_named("MCU")}}) + tar_file("b", database_named("M4"))),
      ElementsAre("MCU"));
}

TEST_F(archives_test, one_zero_block_ends_an_archive) {
  EXPECT_THAT(names_in(tar_file("a", database_named("MCU")) + std::string(512, '\0') +
                       tar_file("b", database_named("M4"))),
              ElementsAre("MCU"));
}

TEST_F(archives_test, an_archive_without_end_blocks) {
  EXPECT_THAT(names_in(tar_file("a", database_named("MCU"))), ElementsAre("MCU"));
}

TEST_F(archives_test, a_last_member_without_its_padding_is_read) {
  const auto text = database_named("MCU");
  ASSERT_NE(text.size() % 512, 0U);
  EXPECT_THAT(names_in(tar_file("a", text).substr(0, 512 + text.size())), ElementsAre("MCU"));
}

TEST_F(archives_test, a_last_member_that_lacks_one_byte_is_not_read) {
  const auto text = database_named("M4");
  EXPECT_THAT(names_in(tar_file("a", database_named("MCU")) +
                       tar_file("b", text).substr(0, 512 + text.size() - 1)),
              ElementsAre("MCU"));
}

TEST_F(archives_test, a_damaged_first_header_leaves_no_database) {
  EXPECT_EQ(failure_of(damaged_member() + tar_archive({{"b", database_named("MCU")}})),
            no_database);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(archives_test, a_damaged_second_header_ends_the_walk_in_silence) {
  EXPECT_THAT(names_in(tar_file("a", database_named("MCU")) + damaged_member() +
                       tar_archive({{"c", database_named("APP")}})),
              ElementsAre("MCU"));
}

// --- members that are not databases ----------------------------------------------------------

TEST_F(archives_test, a_member_that_is_not_json_is_refused) {
  EXPECT_EQ(failure_of(tar_archive({{"readme.txt", "hello"}})), invalid_database);
}

TEST_F(archives_test, a_broken_second_member_refuses_the_archive) {
  EXPECT_EQ(failure_of(tar_archive({{"a", database_named("MCU")}, {"b", "{}"}})), invalid_database);
  EXPECT_EQ(decoder.call_count(), 0U);
}

TEST_F(archives_test, the_members_before_a_broken_one_were_logged) {
  failure_of(tar_archive({{"a", database_named("MCU")}, {"b", "{}"}}));
  EXPECT_THAT(names(), ElementsAre("MCU"));
}

// --- gzip ----------------------------------------------------------------------------------

class not_gzip_test : public archives_test, public test_support::given_value<std::string> {};

TEST_GIVEN(not_gzip_test, is_invalid_gzip_data) {
  EXPECT_EQ(init_failure(parameters(given())), not_gzip);
  EXPECT_EQ(decoder.call_count(), 0U);
}

GIVEN(bytes, not_gzip_test,
      {std::string(), minimal_database().dump(), std::string("{}"), std::string("hello, world"),
       std::string(1000, '\0'), std::string("\x1F\x8C rest"), std::string("\x8B\x1F rest"),
       std::string("PK\x03\x04 a zip archive"),
       // a compression method that does not exist
       std::string("\x1F\x8B\x07\0\0\0\0\0\0\0\0\0", 12),
       // a reserved header flag
       std::string("\x1F\x8B\x08\xE0\0\0\0\0\0\0\0\0", 12),
       // a reserved deflate block type
       std::string("\x1F\x8B\x08\0\0\0\0\0\0\0\xFF\xFF\xFF", 13)});

TEST_F(archives_test, a_tar_archive_that_is_not_compressed_is_invalid_gzip_data) {
  EXPECT_EQ(init_failure(parameters(tar_archive({{"a", database_named("MCU")}}))), not_gzip);
}

TEST_F(archives_test, a_damaged_checksum_of_the_gzip_stream_is_invalid_gzip_data) {
  auto bytes = compress(tar_archive({{"a", database_named("MCU")}}));
  bytes[bytes.size() - 6] = static_cast<char>(bytes[bytes.size() - 6] ^ 0x10);
  EXPECT_EQ(init_failure(parameters(bytes)), not_gzip);
}

TEST_F(archives_test, a_stream_without_its_trailer_is_not_an_error) {
  const auto bytes = compress(tar_archive({{"a", database_named("MCU")}}));
  open(parameters(bytes.substr(0, bytes.size() - 8)));
  EXPECT_THAT(names(), ElementsAre("MCU"));
}

// Wherever a stream is cut, the databases that fit whole in what is left are
// read, and the only error is that none is left.
TEST_F(archives_test, a_stream_cut_anywhere_gives_the_databases_before_the_cut) {
  const auto whole = compress(tar_archive(
      {{"a", database_named("MCU")}, {"b", database_named("M4")}, {"c", database_named("APP")}}));
  std::size_t max_read = 0;
  for (std::size_t length = 1; length <= whole.size(); ++length) {
    test_support::source_session cut;
    const auto result = cut.init(parameters(whole.substr(0, length)));
    if (result == 0) {
      ASSERT_GE(cut.logs.size(), max_read) << "cut at " << length;
      max_read = cut.logs.size();
    } else {
      ASSERT_EQ(max_read, 0U) << "cut at " << length;
      ASSERT_EQ(cut.errors.at(0).message, no_database) << "cut at " << length;
    }
  }
  EXPECT_EQ(max_read, 3U);
}

TEST_F(archives_test, an_archive_of_a_folder_yields_nothing) {
  EXPECT_EQ(failure_of(tar_directory("folder/") +
                       tar_archive({{"folder/db.json", database_named("MCU")}})),
            no_database);
}

TEST_F(archives_test, an_empty_archive_yields_nothing) {
  EXPECT_EQ(failure_of(tar_end()), no_database);
}

TEST_F(archives_test, a_compressed_nothing_yields_nothing) {
  EXPECT_EQ(failure_of(""), no_database);
}

TEST_F(archives_test, compressed_noise_yields_nothing) {
  EXPECT_EQ(failure_of(test_support::varied_bytes(5000)), no_database);
}

TEST_F(archives_test, compressed_json_yields_nothing) {
  EXPECT_EQ(failure_of(minimal_database().dump()), no_database);
}

TEST_F(archives_test, an_archive_without_databases_makes_and_deletes_one_decoder) {
  EXPECT_EQ(failure_of(tar_end()), no_database);
  EXPECT_EQ(decoder.calls_of(scripted_new).size(), 1U);
  EXPECT_EQ(decoder.calls_of(scripted_delete).size(), 1U);
}

}  // namespace
