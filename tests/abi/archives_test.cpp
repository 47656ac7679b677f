// Database archives as they come: sound, cut, damaged and hostile.
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/source_fixture.h"
#include "tests/support/tar_builder.h"
#include "tests/support/test_names.h"

namespace {

using kovax::json;
using test_support::compress;
using test_support::deflate_wrapping;
using test_support::minimal_database;
using test_support::tar_archive;
using test_support::tar_directory;
using test_support::tar_end;
using test_support::tar_file;
using test_support::tar_header;
using test_support::tar_member;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto not_gzip = "Invalid gzip data";
constexpr auto invalid_database = "Trace database has missing fields or is invalid";
constexpr auto no_database = "dekodrix config not found";

std::string database_named(const std::string& name) {
  auto database = minimal_database();
  database["meta"]["name"] = name;
  return database.dump();
}

class archives_test : public test_support::source_fixture {
 protected:
  json parameters(std::string_view bytes) {
    return {{"file_path", write_trace("")},
            {"db_file_path", directory.write("db.tar.gz", bytes).string()}};
  }

  // Opens a compressed archive and returns the names of the databases read.
  std::vector<std::string> names_in(const std::string& tar) {
    open(parameters(compress(tar)));
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

  std::string failure_of(const std::string& tar) { return init_failure(parameters(compress(tar))); }
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

TEST_F(archives_test, a_member_that_fills_its_blocks_exactly) {
  auto text = database_named("MCU");
  text.resize(1024, ' ');
  EXPECT_THAT(names_in(tar_archive({{"a", text}, {"b", database_named("M4")}})),
              ElementsAre("MCU", "M4"));
}

class padding_test : public archives_test, public testing::WithParamInterface<std::size_t> {};

TEST_P(padding_test, is_rounded_up_to_whole_blocks) {
  auto text = database_named("MCU");
  text.resize(GetParam(), ' ');
  EXPECT_THAT(names_in(tar_archive({{"a", text}, {"b", database_named("M4")}})),
              ElementsAre("MCU", "M4"));
}

INSTANTIATE_TEST_SUITE_P(sizes, padding_test,
                         testing::Values(511, 512, 513, 1023, 1024, 1025, 5000),
                         test_support::named_by_value());

TEST_F(archives_test, a_zlib_stream_is_accepted_as_well) {
  open(parameters(
      compress(tar_archive({{"db.json", database_named("MCU")}}), deflate_wrapping::zlib)));
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

class rest_test : public archives_test, public testing::WithParamInterface<std::size_t> {};

TEST_P(rest_test, of_less_than_a_block_is_not_read_past) {
  const auto second = tar_file("b", database_named("M4"));
  EXPECT_THAT(names_in(tar_file("a", database_named("MCU")) + second.substr(0, GetParam())),
              ElementsAre("MCU"));
}

INSTANTIATE_TEST_SUITE_P(sizes, rest_test, testing::Values(1, 100, 257, 511, 512),
                         test_support::named_by_value());

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

// --- members that are no databases ----------------------------------------------------------

TEST_F(archives_test, a_member_that_is_no_json_is_refused) {
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

class not_gzip_test : public archives_test, public testing::WithParamInterface<std::string> {};

TEST_P(not_gzip_test, is_invalid_gzip_data) {
  EXPECT_EQ(init_failure(parameters(GetParam())), not_gzip);
  EXPECT_EQ(decoder.call_count(), 0U);
}

INSTANTIATE_TEST_SUITE_P(bytes, not_gzip_test,
                         testing::Values(std::string(), minimal_database().dump(),
                                         std::string("{}"), std::string("hello, world"),
                                         std::string(1000, '\0'), std::string("\x1F\x8C rest"),
                                         std::string("\x8B\x1F rest"),
                                         std::string("PK\x03\x04 a zip archive"),
                                         // a compression method that does not exist
                                         std::string("\x1F\x8B\x07\0\0\0\0\0\0\0\0\0", 12),
                                         // a reserved header flag
                                         std::string("\x1F\x8B\x08\xE0\0\0\0\0\0\0\0\0", 12),
                                         // a reserved deflate block type
                                         std::string("\x1F\x8B\x08\0\0\0\0\0\0\0\xFF\xFF\xFF", 13)),
                         test_support::named_by_value());

TEST_F(archives_test, a_tar_archive_that_is_not_compressed_is_invalid_gzip_data) {
  EXPECT_EQ(init_failure(parameters(tar_archive({{"a", database_named("MCU")}}))), not_gzip);
}

TEST_F(archives_test, a_damaged_checksum_of_the_gzip_stream_is_invalid_gzip_data) {
  auto bytes = compress(tar_archive({{"a", database_named("MCU")}}));
  bytes[bytes.size() - 6] = static_cast<char>(bytes[bytes.size() - 6] ^ 0x10);
  EXPECT_EQ(init_failure(parameters(bytes)), not_gzip);
}

TEST_F(archives_test, a_damaged_length_of_the_gzip_stream_is_invalid_gzip_data) {
  auto bytes = compress(tar_archive({{"a", database_named("MCU")}}));
  bytes[bytes.size() - 2] = static_cast<char>(bytes[bytes.size() - 2] ^ 0x10);
  EXPECT_EQ(init_failure(parameters(bytes)), not_gzip);
}

class gzip_start_test : public archives_test, public testing::WithParamInterface<std::size_t> {};

TEST_P(gzip_start_test, is_a_truncated_stream_without_databases) {
  const auto bytes = compress(tar_archive({{"a", database_named("MCU")}}));
  EXPECT_EQ(init_failure(parameters(bytes.substr(0, GetParam()))), no_database);
  EXPECT_THAT(names(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(lengths, gzip_start_test, testing::Range(std::size_t{1}, std::size_t{12}),
                         test_support::named_by_value());

TEST_F(archives_test, a_stream_without_its_trailer_is_not_an_error) {
  const auto bytes = compress(tar_archive({{"a", database_named("MCU")}}));
  open(parameters(bytes.substr(0, bytes.size() - 8)));
  EXPECT_THAT(names(), ElementsAre("MCU"));
}

// Wherever a stream is cut, the databases that fit whole in what is left are
// read, and there is no other error than that none is left.
TEST_F(archives_test, a_stream_cut_anywhere_gives_the_databases_before_the_cut) {
  const auto whole = compress(tar_archive(
      {{"a", database_named("MCU")}, {"b", database_named("M4")}, {"c", database_named("APP")}}));
  std::size_t most = 0;
  for (std::size_t length = 1; length <= whole.size(); ++length) {
    test_support::source_session cut;
    const auto result = cut.init(parameters(whole.substr(0, length)));
    if (result == 0) {
      ASSERT_GE(cut.logs.size(), most) << "cut at " << length;
      most = cut.logs.size();
    } else {
      ASSERT_EQ(most, 0U) << "cut at " << length;
      ASSERT_EQ(cut.errors.at(0).message, no_database) << "cut at " << length;
    }
  }
  EXPECT_EQ(most, 3U);
}

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
class odd_header_test : public archives_test, public testing::WithParamInterface<odd_header> {
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

class sound_header_test : public archives_test, public testing::WithParamInterface<odd_header> {};

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

TEST_F(archives_test, a_short_size_text_ends_at_its_terminator) {
  const auto text = database_named("MCU");
  std::string octal;
  for (std::size_t rest = text.size(); rest != 0; rest /= 8) {
    octal.insert(octal.begin(), static_cast<char>('0' + rest % 8));
  }
  tar_header header("db.json", 0);
  header.set(124, octal + " garbage").seal();
  EXPECT_THAT(names_in(tar_member(header, text) + tar_end()), ElementsAre("MCU"));
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
