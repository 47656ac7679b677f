#include "host/source/trace_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <array>

#include "platform/file.h"
#include "platform/process.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;

std::string gzip(std::string text) {
  z_stream stream{};
  constexpr int gzip_format = 16 + MAX_WBITS;
  deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzip_format, 8, Z_DEFAULT_STRATEGY);
  std::string bytes(deflateBound(&stream, static_cast<uLong>(text.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_out = static_cast<uInt>(bytes.size());
  deflate(&stream, Z_FINISH);
  bytes.resize(stream.total_out);
  deflateEnd(&stream);
  return bytes;
}

class trace_reader_test : public testing::Test {
 protected:
  std::string write(const std::string& name, const std::string& bytes) {
    return platform::path_to_utf8(directory_.write(name, bytes));
  }

  // Everything that a reader of these files gives, in small pieces.
  static std::string read(const std::vector<std::string>& names) {
    const auto reader = make_trace_reader(names);
    std::string bytes;
    std::array<char, 7> piece{};
    while (const std::size_t count = reader->read(piece)) bytes.append(piece.data(), count);
    EXPECT_EQ(reader->read(piece), 0U);
    return bytes;
  }

  test_support::temp_directory directory_;
};

TEST_F(trace_reader_test, a_file_is_read_as_it_is) {
  EXPECT_EQ(read({write("a.bin", std::string("one\0two three\n", 14))}),
            std::string("one\0two three\n", 14));
  EXPECT_EQ(read({write("empty", "")}), "");
}

TEST_F(trace_reader_test, all_members_of_a_gzip_file_are_read) {
  const std::string large(200000, 'x');
  EXPECT_EQ(read({write("a.bin.gz", gzip("one ") + gzip("two ") + gzip(large))}),
            "one two " + large);
}

TEST_F(trace_reader_test, a_gzip_file_that_breaks_off_is_a_failure_with_a_way_out) {
  const std::string whole = gzip("one two three");
  const std::string cut = write("a.gz", whole.substr(0, whole.size() - 4));
  EXPECT_THAT(refusal_of([&] { read({cut}); }),
              AllOf(HasSubstr("breaks off"), HasSubstr("gzip -dc ")));
  EXPECT_THAT(refusal_of([&] { read({write("b.gz", "no gzip")}); }), HasSubstr("damaged"));
}

TEST_F(trace_reader_test, a_zstd_file_is_read_by_the_program) {
  const std::string plain = write("a.bin", "one two three");
  const std::string name = write("a.zst", "");
  const std::filesystem::path zstd = platform::find_program("zstd");
  if (zstd.empty()) {
    EXPECT_THAT(refusal_of([&] { read({name}); }), HasSubstr("zstd"));
    GTEST_SKIP() << "zstd is not installed";
  }
  platform::process compress(zstd, {"-qf", plain, "-o", name});
  std::array<char, 64> nothing{};
  while (compress.read(nothing) != 0) {
  }
  ASSERT_EQ(compress.wait().exit_code, 0);
  EXPECT_EQ(read({name}), "one two three");
  EXPECT_THAT(refusal_of([&] { read({write("b.zst", "no zstd")}); }), HasSubstr("b.zst"));
}

TEST_F(trace_reader_test, several_files_are_one_trace) {
  EXPECT_EQ(
      read({write("1", "one "), write("2.gz", gzip("two ")), write("3", ""), write("4", "four")}),
      "one two four");
}

TEST_F(trace_reader_test, a_file_that_is_not_there_is_named) {
  EXPECT_THAT(refusal_of([&] { read({platform::path_to_utf8(directory_.path() / "none.gz")}); }),
              AllOf(HasSubstr("none.gz cannot be read"), HasSubstr("o such file")));
}

TEST_F(trace_reader_test, a_cancelled_reader_is_at_its_end) {
  const auto reader = make_trace_reader({write("1", "one"), write("2", "two")});
  std::array<char, 3> piece{};
  EXPECT_EQ(reader->read(piece), 3U);
  reader->cancel();
  EXPECT_EQ(reader->read(piece), 0U);
}

TEST(compression, follows_from_the_name) {
  EXPECT_EQ(compression_of("a.bin.gz"), compression::gzip);
  EXPECT_EQ(compression_of("a.zst"), compression::zstd);
  EXPECT_EQ(compression_of("a.bin"), compression::none);
  EXPECT_TRUE(needs_reader("-"));
  EXPECT_TRUE(needs_reader("a.gz"));
  EXPECT_FALSE(needs_reader("a.bin"));
}

}  // namespace
}  // namespace veltra::host
