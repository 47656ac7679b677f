// Walking the members of an archive.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/database/ustar.h"
#include "tests/support/tar_builder.h"

namespace veltra {
namespace {

using test_support::tar_end;
using test_support::tar_file;
using test_support::tar_header;
using test_support::tar_padded;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> members_of(std::string_view archive) {
  // A copy of exactly the archive's size, so that a sanitizer sees a read past it.
  const std::vector<char> exact(archive.begin(), archive.end());
  std::vector<std::string> members;
  visit_ustar_members(std::string_view(exact.data(), exact.size()),
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
  EXPECT_THROW(visit_ustar_members(archive, refuse), std::length_error);
  EXPECT_EQ(visits, 1);
}

TEST(ustar_members, are_views_into_the_archive) {
  const std::string archive = tar_file("a.json", "{}");
  visit_ustar_members(archive, [&](std::string_view data) {
    EXPECT_EQ(static_cast<const void*>(data.data()), archive.data() + 512);
  });
}

}  // namespace
}  // namespace veltra
