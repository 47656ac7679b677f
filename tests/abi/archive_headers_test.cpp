// Archive headers: which end the walk in silence, and which are read although
// they look unusual.
#include <cstddef>
#include <ostream>
#include <string>

#include "tests/abi/archive_fixture.h"

namespace {

using test_support::tar_archive;
using test_support::tar_end;
using test_support::tar_file;
using test_support::tar_header;
using test_support::tar_member;
using testing::ElementsAre;
using testing::IsEmpty;

class archive_headers_test : public archive_fixture {};

// --- archives that end early ---------------------------------------------------------------

struct odd_header {
  const char* name;
  void (*apply)(tar_header& header);
};

void PrintTo(const odd_header& value, std::ostream* out) {
  *out << value.name;
}

// Such a header as the first entry leaves no database; as the second it leaves
// the one before it.
class odd_header_test : public archive_fixture, public testing::WithParamInterface<odd_header> {
 protected:
  static std::string odd_member() {
    const auto text = database_named("M4");
    tar_header header("odd", text.size());
    GetParam().apply(header);
    return tar_member(header, text);
  }
};

TEST_P(odd_header_test, as_the_first_entry_leaves_no_database) {
  EXPECT_EQ(failure_of(odd_member() + tar_archive({{"b", database_named("MCU")}})), no_database);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_P(odd_header_test, as_the_second_entry_ends_the_walk_in_silence) {
  EXPECT_THAT(names_in(tar_file("a", database_named("MCU")) + odd_member() +
                       tar_archive({{"c", database_named("APP")}})),
              ElementsAre("MCU"));
}

INSTANTIATE_TEST_SUITE_P(
    headers, odd_header_test,
    testing::Values(
        odd_header{"bad_magic", [](tar_header& h) { h.set(257, "Ustar").seal(); }},
        odd_header{"no_magic", [](tar_header& h) { h.set(257, std::string(8, '\0')).seal(); }},
        odd_header{"bad_end_of_magic", [](tar_header& h) { h.set(262, "x").seal(); }},
        odd_header{"bad_first_version", [](tar_header& h) { h.set(263, "1").seal(); }},
        odd_header{"bad_second_version", [](tar_header& h) { h.set(264, "1").seal(); }},
        odd_header{"second_version_of_0x10", [](tar_header& h) { h.set(264, "\x10").seal(); }},
        odd_header{"wrong_checksum", [](tar_header& h) { h.set(0, "changed"); }},
        odd_header{"checksum_of_eight_digits",
                   [](tar_header& h) {
                     const auto usual = h.block().substr(148, 6);
                     h.set(148, "00" + usual);
                   }},
        odd_header{"checksum_behind_blanks",
                   [](tar_header& h) {
                     const auto usual = h.block().substr(148, 6);
                     h.set(148, " " + usual + std::string(1, '\0'));
                   }},
        odd_header{"checksum_without_digits",
                   [](tar_header& h) { h.set(148, std::string(8, '\0')); }},
        odd_header{"checksum_with_a_letter", [](tar_header& h) { h.set(154, "x"); }},
        odd_header{"checksum_with_an_eight", [](tar_header& h) { h.set(148, "8"); }},
        odd_header{"name_of_100_characters",
                   [](tar_header& h) { h.set(0, std::string(100, 'n')).seal(); }},
        odd_header{"long_name_in_the_prefix", [](tar_header& h) { h.set(345, "dir").seal(); }},
        odd_header{"symbolic_link", [](tar_header& h) { h.set(156, "2").seal(); }},
        odd_header{"hard_link", [](tar_header& h) { h.set(156, "1").seal(); }},
        odd_header{"device", [](tar_header& h) { h.set(156, "3").seal(); }},
        odd_header{"extended_header", [](tar_header& h) { h.set(156, "x").seal(); }},
        odd_header{"long_name_member", [](tar_header& h) { h.set(156, "L").seal(); }},
        odd_header{"old_file_type", [](tar_header& h) { h.set(156, std::string(1, '\0')).seal(); }},
        odd_header{"directory", [](tar_header& h) { h.set(156, "5").seal(); }},
        odd_header{"empty_file", [](tar_header& h) { h.set(124, "00000000000").seal(); }},
        odd_header{"size_behind_blanks", [](tar_header& h) { h.set(124, "  ").seal(); }},
        odd_header{"size_of_twelve_digits", [](tar_header& h) { h.set(135, "0").seal(); }},
        odd_header{"size_without_digits",
                   [](tar_header& h) { h.set(124, std::string(12, '\0')).seal(); }},
        odd_header{"size_with_a_letter", [](tar_header& h) { h.set(130, "x").seal(); }},
        odd_header{"size_in_base_256", [](tar_header& h) { h.set(124, "\x80").seal(); }},
        odd_header{"size_above_2_gib", [](tar_header& h) { h.set(124, "20000000000").seal(); }},
        odd_header{"size_beyond_the_archive",
                   [](tar_header& h) { h.set(124, "17777777777").seal(); }}),
    [](const auto& information) { return std::string(information.param.name); });

// --- headers that are unusual and sound -------------------------------------------------------

class sound_header_test : public archive_fixture, public testing::WithParamInterface<odd_header> {};

TEST_P(sound_header_test, is_read) {
  const auto text = database_named("MCU");
  tar_header header("db.json", text.size());
  GetParam().apply(header);
  EXPECT_THAT(names_in(tar_member(header, text) + tar_end()), ElementsAre("MCU"));
}

INSTANTIATE_TEST_SUITE_P(
    headers, sound_header_test,
    testing::Values(
        odd_header{"magic_and_version_with_blanks",
                   [](tar_header& h) { h.set(257, std::string("ustar  \0", 8)).seal(); }},
        odd_header{"version_of_nul_as_second",
                   [](tar_header& h) { h.set(263, std::string("0\0", 2)).seal(); }},
        odd_header{"version_of_two_blanks", [](tar_header& h) { h.set(263, "  ").seal(); }},
        odd_header{"checksum_of_seven_digits_and_nul",
                   [](tar_header& h) {
                     const auto usual = h.block().substr(148, 6);
                     h.set(148, "0" + usual + std::string(1, '\0'));
                   }},
        odd_header{"checksum_ending_in_a_blank", [](tar_header& h) { h.set(154, "  "); }},
        odd_header{"size_ending_in_a_blank", [](tar_header& h) { h.set(135, " ").seal(); }},
        odd_header{"other_fields_full",
                   [](tar_header& h) {
                     h.set(100, std::string(24, '\xFF'))
                         .set(136, std::string(12, '\xFF'))
                         .set(157, std::string(100, '\xFF'))
                         .set(265, std::string(80, '\xFF'))
                         .set(500, std::string(12, '\xFF'))
                         .seal();
                   }}),
    [](const auto& information) { return std::string(information.param.name); });

TEST_F(archive_headers_test, a_short_size_text_ends_at_its_terminator) {
  const auto text = database_named("MCU");
  std::string octal;
  for (std::size_t rest = text.size(); rest != 0; rest /= 8) {
    octal.insert(octal.begin(), static_cast<char>('0' + rest % 8));
  }
  tar_header header("db.json", 0);
  header.set(124, octal + " garbage").seal();
  EXPECT_THAT(names_in(tar_member(header, text) + tar_end()), ElementsAre("MCU"));
}

}  // namespace
