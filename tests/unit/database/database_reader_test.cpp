#include "plugin/database/database_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "implementation/json.h"
#include "tests/support/tar_builder.h"

namespace veltra {
namespace {

using test_support::compress;
using test_support::tar_end;
using test_support::tar_file;
using test_support::tar_header;
using test_support::wrapping;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* invalid_gzip = "Invalid gzip data";
constexpr const char* invalid_database = "Trace database has missing fields or is invalid";

std::vector<std::string> texts_of(std::string_view bytes, bool archive) {
  std::vector<std::string> texts;
  read_trace_database(bytes, archive, [&](std::string_view text) { texts.emplace_back(text); });
  return texts;
}

// The text of the std::runtime_error with which reading fails, or nothing.
std::string failure_of(
    std::string_view bytes, bool archive,
    const std::function<void(std::string_view)>& process = [](std::string_view) {}) {
  try {
    read_trace_database(bytes, archive, process);
    return {};
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(typeid(error), typeid(std::runtime_error));
    return error.what();
  }
}

// Processing that refuses what is not JSON.
void parse(std::string_view text) {
  const kovax::json document = kovax::json::parse(text);
  EXPECT_FALSE(document.is_discarded());
}

std::string two_databases() {
  return tar_file("mcu.json", R"({"meta": 1})") + tar_file("m4.json", R"({"meta": 2})") + tar_end();
}

TEST(database_reader, a_plain_file_is_one_text) {
  EXPECT_THAT(texts_of(R"({"meta": 1})", false), ElementsAre(R"({"meta": 1})"));
}

TEST(database_reader, a_plain_file_is_passed_on_whole_whatever_it_holds) {
  const std::string_view with_nul("{}\0{}", 5);
  EXPECT_THAT(texts_of(with_nul, false), ElementsAre(with_nul));
  EXPECT_THAT(texts_of("", false), ElementsAre(""));
  const std::string archive = compress(two_databases());
  EXPECT_THAT(texts_of(archive, false), ElementsAre(archive));
}

TEST(database_reader, a_plain_file_that_is_not_json_is_invalid) {
  EXPECT_EQ(failure_of("{}", false, parse), "");
  EXPECT_EQ(failure_of("not json", false, parse), invalid_database);
  EXPECT_EQ(failure_of("", false, parse), invalid_database);
  EXPECT_EQ(failure_of(compress(two_databases()), false, parse), invalid_database);
}

TEST(database_reader, an_archive_of_two_databases_is_two_texts_in_order) {
  EXPECT_THAT(texts_of(compress(two_databases()), true),
              ElementsAre(R"({"meta": 1})", R"({"meta": 2})"));
}

TEST(database_reader, an_archive_may_be_wrapped_as_zlib) {
  EXPECT_THAT(texts_of(compress(two_databases(), wrapping::zlib), true),
              ElementsAre(R"({"meta": 1})", R"({"meta": 2})"));
}

TEST(database_reader, a_member_keeps_its_nul_bytes) {
  const std::string text("{\0}", 3);
  EXPECT_THAT(texts_of(compress(tar_file("a.json", text) + tar_end()), true), ElementsAre(text));
}

TEST(database_reader, an_archive_that_is_plain_json_is_invalid_gzip) {
  EXPECT_EQ(failure_of(R"({"meta": 1})", true), invalid_gzip);
}

TEST(database_reader, an_archive_that_was_not_compressed_is_invalid_gzip) {
  EXPECT_EQ(failure_of(two_databases(), true), invalid_gzip);
}

TEST(database_reader, an_empty_archive_file_is_invalid_gzip) {
  EXPECT_EQ(failure_of("", true), invalid_gzip);
}

TEST(database_reader, an_archive_of_one_byte_that_begins_no_stream_is_invalid_gzip) {
  EXPECT_EQ(failure_of("{", true), invalid_gzip);
}

TEST(database_reader, a_corrupt_archive_is_invalid_gzip_and_nothing_is_processed) {
  std::string bytes = compress(two_databases());
  bytes[bytes.size() - 8] ^= 1;
  int processed = 0;
  EXPECT_EQ(failure_of(bytes, true, [&](std::string_view) { ++processed; }), invalid_gzip);
  EXPECT_EQ(processed, 0);
}

TEST(database_reader, a_truncated_archive_gives_the_members_that_are_whole) {
  // Stored, so that every byte cut off is a byte of the archive.
  const std::string bytes = compress(two_databases(), wrapping::gzip, 0);
  constexpr std::size_t wrapper = 10 + 5;  // gzip header and the stored block's
  for (std::size_t length = 1; length <= bytes.size(); ++length) {
    std::vector<std::string> whole;
    if (length >= wrapper + 512 + 11) {
      whole.emplace_back(R"({"meta": 1})");
    }
    if (length >= wrapper + 1024 + 512 + 11) {
      whole.emplace_back(R"({"meta": 2})");
    }
    ASSERT_EQ(texts_of(bytes.substr(0, length), true), whole) << length;
  }
}

TEST(database_reader, a_truncated_deflated_archive_is_no_error_at_any_length) {
  const std::string bytes = compress(two_databases());
  std::size_t most = 0;
  for (std::size_t length = 1; length <= bytes.size(); ++length) {
    const std::size_t count = texts_of(bytes.substr(0, length), true).size();
    ASSERT_GE(count, most) << length;
    most = count;
  }
  EXPECT_EQ(most, 2U);
}

TEST(database_reader, an_archive_of_nothing_gives_no_text) {
  EXPECT_THAT(texts_of(compress(""), true), IsEmpty());
  EXPECT_THAT(texts_of(compress(tar_end()), true), IsEmpty());
}

TEST(database_reader, compressed_json_that_is_in_no_archive_gives_no_text) {
  EXPECT_THAT(texts_of(compress(R"({"meta": 1})"), true), IsEmpty());
  EXPECT_THAT(texts_of(compress(std::string(2000, ' ') + "{}"), true), IsEmpty());
}

TEST(database_reader, an_archived_folder_gives_no_text) {
  tar_header folder("databases/", 0);
  folder.type('5').seal();
  EXPECT_THAT(texts_of(compress(folder.block() + two_databases()), true), IsEmpty());
}

TEST(database_reader, a_damaged_first_header_gives_no_text) {
  std::string archive = two_databases();
  archive[0] ^= 1;
  EXPECT_THAT(texts_of(compress(archive), true), IsEmpty());
}

TEST(database_reader, a_damaged_second_header_leaves_the_first_text) {
  std::string archive = two_databases();
  archive[1024] ^= 1;
  EXPECT_THAT(texts_of(compress(archive), true), ElementsAre(R"({"meta": 1})"));
}

TEST(database_reader, a_member_that_is_not_json_makes_the_archive_invalid) {
  const std::string archive = tar_file("a.json", "{}") + tar_file("b.json", "not json");
  EXPECT_EQ(failure_of(compress(archive), true, parse), invalid_database);
}

TEST(database_reader, nothing_is_processed_after_a_text_that_was_refused) {
  std::vector<std::string> seen;
  const auto refuse_second = [&](std::string_view text) {
    seen.emplace_back(text);
    if (seen.size() == 2) {
      throw std::runtime_error("of its own");
    }
  };
  const std::string archive =
      tar_file("a", "1") + tar_file("b", "2") + tar_file("c", "3") + tar_end();
  EXPECT_EQ(failure_of(compress(archive), true, refuse_second), invalid_database);
  EXPECT_THAT(seen, ElementsAre("1", "2"));
}

TEST(database_reader, whatever_is_thrown_is_an_invalid_database) {
  const std::string archive = compress(tar_file("a.json", "{}") + tar_end());
  const std::vector<std::function<void(std::string_view)>> throwing = {
      [](std::string_view) { throw std::runtime_error("of its own"); },
      [](std::string_view) { throw std::logic_error("a logic error"); },
      [](std::string_view) { throw std::bad_alloc(); },
      [](std::string_view) { throw 7; },
      [](std::string_view) { throw "a text"; },
  };
  for (const auto& process : throwing) {
    EXPECT_EQ(failure_of("{}", false, process), invalid_database);
    EXPECT_EQ(failure_of(archive, true, process), invalid_database);
  }
}

}  // namespace
}  // namespace veltra
