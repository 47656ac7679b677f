#include "host/output/provenance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/output/pcapng_blocks.h"
#include "host/output/pcapng_sink.h"
#include "platform/file.h"
#include "tests/support/captured_stdout.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// FIPS 180-4's example of one block.
constexpr const char* abc_digest =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

class provenance_test : public testing::Test {
 protected:
  std::filesystem::path at(const char* name) const { return directory_.path() / name; }

  std::string metadata(const std::filesystem::path& database, const std::string& uuid) const {
    return R"({"data_offset":1,"modem_db_path":")" + platform::path_to_utf8(database) +
           R"(","modem_db_uuid":")" + uuid + R"("})";
  }

  // A capture of one packet that names a database.
  void capture(const provenance& facts) {
    const std::string named = metadata(directory_.write("base.json", "abc"), "u-1");
    pcapng_sink sink(at("out.pcapng"), {});
    sink.set_provenance(facts);
    sink.begin();
    sink.write(packet_of("ip", "E", named));
    sink.write(packet_of("at", "OK", named));
    sink.finish();
  }

  test_support::temp_directory directory_;
};

TEST_F(provenance_test, a_capture_says_what_it_was_given_and_the_database) {
  capture({{"trace", "/a/b: c"}, {"options", "--x"}});
  EXPECT_THAT(
      read_provenance(at("out.pcapng")),
      ElementsAre(fact{"trace", "/a/b: c"}, fact{"options", "--x"},
                  fact{"database", std::string("base.json, UUID u-1, SHA-256 ") + abc_digest}));
}

TEST_F(provenance_test, the_interfaces_of_a_file_do_not_repeat_it) {
  capture({{"trace", "/a"}});
  for (const capture_block& block : read_blocks(content(at("out.pcapng")))) {
    if (block.type != pcapng::interface_description_type) continue;
    EXPECT_FALSE(block.options(8).contains(1));
    EXPECT_THAT(block.options(8)[3], Not(IsEmpty()));
  }
}

// Its header is there before the first packet, which names the database.
TEST_F(provenance_test, the_first_interface_of_a_stream_says_the_database) {
  const std::string named = metadata(directory_.write("base.json", "abc"), "u-1");
  test_support::captured_stdout out;
  pcapng_sink sink("-", {});
  sink.set_provenance({{"port", "COM3"}});
  sink.begin();
  sink.write(packet_of("ip", "E", named));
  sink.write(packet_of("at", "OK", named));
  sink.finish();
  const std::string bytes = out.end();
  EXPECT_THAT(pcapng::section_comments(bytes), ElementsAre("port: COM3"));
  std::vector<std::string> comments;
  for (const capture_block& block : read_blocks(bytes)) {
    if (block.type == pcapng::interface_description_type) comments.push_back(block.options(8)[1]);
  }
  EXPECT_THAT(comments,
              ElementsAre(std::string("database: base.json, UUID u-1, SHA-256 ") + abc_digest, ""));
}

TEST_F(provenance_test, what_is_not_known_is_left_out) {
  EXPECT_THAT(provenance_of_database({}, ""), IsEmpty());
  EXPECT_THAT(provenance_of_database(at("none.json"), "u-1"),
              ElementsAre(fact{"database", "none.json, UUID u-1"}));
  EXPECT_THAT(provenance_of_trace(at("none.bin")),
              ElementsAre(fact{"trace", platform::path_to_utf8(at("none.bin"))}));
}

TEST_F(provenance_test, a_trace_is_its_absolute_path_and_its_size) {
  const auto trace = directory_.write("trace.bin", "12345");
  const test_support::working_directory here(directory_.path());
  EXPECT_THAT(
      provenance_of_trace("./trace.bin"),
      ElementsAre(fact{"trace", platform::path_to_utf8(trace)}, fact{"trace size", "5 bytes"}));
}

TEST_F(provenance_test, control_characters_do_not_get_into_it) {
  EXPECT_EQ(provenance_of_trace("/a\nb").front().text, "/a?b");
}

TEST_F(provenance_test, other_files_have_none) {
  EXPECT_THAT(read_provenance(at("none")), IsEmpty());
  EXPECT_THAT(read_provenance(directory_.path()), IsEmpty());
  for (const char* text : {"", "x", "{\"trace\": 1}", "\n\r\r\n", "\x1f\x8b"}) {
    EXPECT_THAT(read_provenance(directory_.write("other", text)), IsEmpty()) << text;
  }
}

TEST_F(provenance_test, a_capture_that_breaks_off_in_its_header_says_what_is_whole) {
  capture({{"trace", "/a"}, {"options", "--x"}});
  const std::string whole = content(at("out.pcapng"));
  for (std::size_t size = 0; size < 200; ++size) {
    const auto facts = read_provenance(directory_.write("cut", whole.substr(0, size)));
    if (facts.empty()) continue;
    EXPECT_EQ(facts[0], (fact{"trace", "/a"})) << size;
  }
}

TEST_F(provenance_test, a_capture_is_of_the_trace_that_it_names) {
  const auto trace = directory_.write("trace.bin", "12345");
  EXPECT_TRUE(is_capture_of(provenance_of_trace(trace), trace));
  directory_.write("trace.bin", "1234567");
  EXPECT_TRUE(
      is_capture_of({{"trace", platform::path_to_utf8(trace)}, {"trace size", "5 bytes"}}, trace))
      << "the trace has grown";
}

TEST_F(provenance_test, a_trace_that_was_moved_is_known_by_its_name_and_size) {
  const auto trace = directory_.write("trace.bin", "12345");
  const auto made_of = [](const char* path, const char* size) {
    return provenance{{"trace", path}, {"trace size", size}};
  };
  EXPECT_TRUE(is_capture_of(made_of("/before/trace.bin", "5 bytes"), trace));
  EXPECT_FALSE(is_capture_of(made_of("/before/trace.bin", "6 bytes"), trace));
  EXPECT_FALSE(is_capture_of(made_of("/before/other.bin", "5 bytes"), trace));
  EXPECT_FALSE(is_capture_of({{"port", "trace.bin"}}, trace));
  EXPECT_FALSE(is_capture_of({}, trace));
}

}  // namespace
}  // namespace veltra::host
