// The texts in a database file: the members of an archive, and what is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "implementation/json.h"
#include "plugin/database/database_reader.h"
#include "plugin/database/ustar.h"
#include "tests/support/tar_builder.h"

namespace veltra {
namespace {

using test_support::compress;
using test_support::tar_end;
using test_support::tar_file;
using test_support::tar_header;
using test_support::tar_padded;
using test_support::wrapping;
using testing::ElementsAre;
using testing::IsEmpty;

// --- members -------------------------------------------------------------------------

constexpr std::size_t any_size = 1'000'000;

void visit_members(std::string_view archive, std::size_t max_member_size,
                   const std::function<void(std::string_view)>& visit) {
  const auto read = [rest = archive](std::span<char> to) mutable {
    ASSERT_LE(to.size(), rest.size()) << "read past the end";
    std::copy_n(rest.data(), to.size(), to.data());
    rest.remove_prefix(to.size());
  };
  visit_ustar_members(archive.size(), read, max_member_size, visit);
}

std::vector<std::string> members_of(std::string_view archive,
                                    std::size_t max_member_size = any_size) {
  std::vector<std::string> members;
  visit_members(archive, max_member_size,
                [&](std::string_view data) { members.emplace_back(data); });
  return members;
}

// An entry of the given header with 100 bytes of data behind it.
std::string entry(tar_header header) {
  return header.seal().block() + tar_padded(std::string(100, 'd'));
}

TEST(ustar_members, come_in_archive_order) {
  const std::string archive =
      tar_file("b.json", "second name first") + tar_file("a.json", "first name second");
  EXPECT_THAT(members_of(archive + tar_end()),
              ElementsAre("second name first", "first name second"));
}

TEST(ustar_members, keep_their_bytes_whatever_their_size) {
  for (const std::size_t size : {1U, 2U, 511U, 512U, 513U, 1023U, 1024U, 1025U, 70'000U}) {
    const std::string data(size, 'x');
    EXPECT_THAT(members_of(tar_file("a.json", data) + tar_file("b.json", "{}") + tar_end()),
                ElementsAre(data, "{}"))
        << size;
  }
}

TEST(ustar_members, may_hold_nul_bytes_and_look_like_headers) {
  const std::string zeros(1024, '\0');
  const std::string inner = tar_file("inner.json", "{}");
  EXPECT_THAT(members_of(tar_file("a", zeros) + tar_file("b.tar", inner) + tar_end()),
              ElementsAre(zeros, inner));
}

TEST(ustar_members, are_taken_whatever_their_names) {
  const std::string archive = tar_file("README", "1") + tar_file("../x.exe", "2") +
                              tar_file("", "3") + tar_file("same", "4") + tar_file("same", "5");
  EXPECT_THAT(members_of(archive + tar_end()), ElementsAre("1", "2", "3", "4", "5"));
}

TEST(ustar_members, may_be_of_both_forms_of_the_magic) {
  tar_header older("a.json", 2);
  older.set(257, std::string_view("ustar  \0", 8)).seal();
  EXPECT_THAT(members_of(older.block() + tar_padded("{}") + tar_file("b.json", "[]")),
              ElementsAre("{}", "[]"));
}

TEST(ustar_members, padding_is_skipped_unread) {
  std::string archive = tar_file("a.json", "{}") + tar_file("b.json", "[]");
  archive.replace(512 + 2, 510, 510, '\xFF');
  EXPECT_THAT(members_of(archive), ElementsAre("{}", "[]"));
}

TEST(ustar_members, end_at_the_first_block_of_zeros) {
  const std::string archive =
      tar_file("a.json", "{}") + std::string(512, '\0') + tar_file("b.json", "[]") + tar_end();
  EXPECT_THAT(members_of(archive), ElementsAre("{}"));
}

TEST(ustar_members, end_at_the_first_damaged_header) {
  tar_header bad_magic;
  bad_magic.set(257, "tar");
  tar_header bad_version;
  bad_version.set(263, "1");
  tar_header long_name(std::string(100, 'n'));
  tar_header prefixed;
  prefixed.set(345, "folder");
  tar_header link;
  link.type('2');
  tar_header old_file;
  old_file.type('\0');
  tar_header extended;
  extended.type('x');
  tar_header bad_size;
  bad_size.size("1x");
  tar_header too_large;
  too_large.size("20000000000");
  for (const tar_header& header : {bad_magic, bad_version, long_name, prefixed, link, old_file,
                                   extended, bad_size, too_large}) {
    const std::string odd = entry(header);
    const std::string good = tar_file("b.json", "[]") + tar_end();
    EXPECT_THAT(members_of(odd + good), IsEmpty())
        << parse_ustar_header(ustar_block(odd.data(), 512)).error;
    EXPECT_THAT(members_of(tar_file("a.json", "{}") + odd + good), ElementsAre("{}"));
  }
}

TEST(ustar_members, end_at_a_header_with_a_bad_checksum) {
  std::string archive = tar_file("a.json", "{}") + tar_file("b.json", "[]") + tar_end();
  archive[1024 + 5] = 'X';
  EXPECT_THAT(members_of(archive), ElementsAre("{}"));
  archive[5] = 'X';
  EXPECT_THAT(members_of(archive), IsEmpty());
}

TEST(ustar_members, end_at_a_directory) {
  tar_header folder("databases/", 0);
  folder.type('5').seal();
  EXPECT_THAT(members_of(folder.block() + tar_file("databases/a.json", "{}") + tar_end()),
              IsEmpty());
  EXPECT_THAT(members_of(tar_file("a.json", "{}") + folder.block() +
                         tar_file("databases/b.json", "[]") + tar_end()),
              ElementsAre("{}"));
}

TEST(ustar_members, end_at_an_empty_file) {
  EXPECT_THAT(members_of(tar_file("a.json", "{}") + tar_file("empty.json", "") +
                         tar_file("b.json", "[]") + tar_end()),
              ElementsAre("{}"));
}

TEST(ustar_members, end_at_a_member_larger_than_what_is_left) {
  const std::string header = tar_header("b.json", 100).block();
  const std::string first = tar_file("a.json", "{}");
  EXPECT_THAT(members_of(first + header + std::string(99, 'x')), ElementsAre("{}"));
  EXPECT_THAT(members_of(first + header + std::string(100, 'x')),
              ElementsAre("{}", std::string(100, 'x')));
}

TEST(ustar_members, end_at_a_member_of_almost_2_gib_in_a_small_archive) {
  EXPECT_THAT(members_of(tar_header("a.json", 0x7FFFFFFF).block() + std::string(4096, 'x')),
              IsEmpty());
}

TEST(ustar_members, need_neither_padding_nor_an_end_block) {
  EXPECT_THAT(members_of(tar_file("a.json", "{}")), ElementsAre("{}"));
  EXPECT_THAT(members_of(tar_header("a.json", 2).block() + "{}"), ElementsAre("{}"));
  EXPECT_THAT(members_of(tar_header("a.json", 2).block() + "{}..."), ElementsAre("{}"));
}

TEST(ustar_members, end_where_less_than_a_block_is_left) {
  EXPECT_THAT(members_of(""), IsEmpty());
  EXPECT_THAT(members_of("{"), IsEmpty());
  EXPECT_THAT(members_of(tar_header().block().substr(0, 511)), IsEmpty());
  EXPECT_THAT(members_of(tar_file("a.json", "{}") + tar_header().block().substr(0, 511)),
              ElementsAre("{}"));
}

TEST(ustar_members, of_an_archive_truncated_at_any_length_are_those_that_fit_whole) {
  const std::vector<std::string> texts = {std::string(600, 'a'), std::string(512, 'b'), "c"};
  std::string archive;
  std::vector<std::size_t> ends;
  for (const std::string& text : texts) {
    ends.push_back(archive.size() + 512 + text.size());
    archive += tar_file("member.json", text);
  }
  archive += tar_end();
  for (std::size_t length = 0; length <= archive.size(); ++length) {
    std::vector<std::string> whole;
    for (std::size_t i = 0; i < texts.size() && ends[i] <= length; ++i) {
      whole.push_back(texts[i]);
    }
    ASSERT_EQ(members_of(std::string_view(archive).substr(0, length)), whole) << length;
  }
}

TEST(ustar_members, end_with_an_exception_of_the_visitor_which_passes_through) {
  const std::string archive = tar_file("a.json", "{}") + tar_file("b.json", "[]");
  int visits = 0;
  const auto refuse = [&](std::string_view) {
    ++visits;
    throw std::length_error("enough");
  };
  EXPECT_THROW(visit_members(archive, any_size, refuse), std::length_error);
  EXPECT_EQ(visits, 1);
}

TEST(ustar_members, end_with_one_that_is_too_large_of_which_a_byte_too_many_is_read) {
  const std::string archive =
      tar_file("a.json", "12345") + tar_file("b.json", "123456789") + tar_file("c.json", "1");
  EXPECT_THAT(members_of(archive, 9), ElementsAre("12345", "123456789", "1"));
  EXPECT_THAT(members_of(archive, 8), ElementsAre("12345", "123456789"));
  EXPECT_THAT(members_of(archive, 5), ElementsAre("12345", "123456"));
  EXPECT_THAT(members_of(archive, 0), ElementsAre("1"));
}

// --- what is refused -----------------------------------------------------------------

constexpr const char* invalid_gzip = "Invalid gzip data";
constexpr const char* invalid_database = "Trace database has missing fields or is invalid";

std::vector<std::string> texts_of(std::string_view bytes, bool archive) {
  std::vector<std::string> texts;
  extract_database_texts(std::string(bytes), archive, any_size,
                         [&](std::string text) { texts.push_back(std::move(text)); });
  return texts;
}

// The text of the std::runtime_error with which reading fails, or nothing.
std::string failure_of(
    std::string_view bytes, bool archive,
    const std::function<void(std::string_view)>& process = [](std::string_view) {}) {
  try {
    extract_database_texts(std::string(bytes), archive, any_size, process);
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

TEST(database_reader, a_truncated_deflated_archive_is_not_an_error_at_any_length) {
  const std::string bytes = compress(two_databases());
  std::size_t max_count = 0;
  for (std::size_t length = 1; length <= bytes.size(); ++length) {
    const std::size_t count = texts_of(bytes.substr(0, length), true).size();
    ASSERT_GE(count, max_count) << length;
    max_count = count;
  }
  EXPECT_EQ(max_count, 2U);
}

// Neither its damage nor its end changes with the way in which it is inflated.
TEST(database_reader, an_archive_that_is_too_large_to_be_held_gives_the_same_texts) {
  const std::string gap = tar_file("gap", std::string(any_size, ' '));
  std::string archive = two_databases().substr(0, 1024);
  while (archive.size() <= max_held_archive) archive += gap;
  archive += two_databases();
  const std::string bytes = compress(archive);
  const auto small_texts_of = [](std::string_view compressed) {
    std::vector<std::string> texts;
    extract_database_texts(std::string(compressed), true, any_size, [&](std::string_view text) {
      if (text.size() < any_size) texts.emplace_back(text);
    });
    return texts;
  };
  EXPECT_THAT(small_texts_of(bytes),
              ElementsAre(R"({"meta": 1})", R"({"meta": 1})", R"({"meta": 2})"));
  EXPECT_THAT(small_texts_of(bytes.substr(0, bytes.size() - 8)), testing::SizeIs(3));
  std::string damaged = bytes;
  damaged[bytes.size() - 8] ^= 1;
  int processed = 0;
  EXPECT_EQ(failure_of(damaged, true, [&](std::string_view) { ++processed; }), invalid_gzip);
  EXPECT_EQ(processed, 0);
}

TEST(database_reader, a_text_that_is_too_large_is_cut_behind_the_first_byte_too_many) {
  const std::string bytes = compress(tar_file("a.json", "123456789") + tar_end());
  std::vector<std::string> texts;
  extract_database_texts(bytes, true, 5, [&](std::string_view text) { texts.emplace_back(text); });
  EXPECT_THAT(texts, ElementsAre("123456"));
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
