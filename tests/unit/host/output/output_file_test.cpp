#include "host/output/output_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

#include "host/user_error.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class output_file_test : public testing::Test {
 protected:
  std::filesystem::path at(const char* name) const { return directory_.path() / name; }
  std::vector<std::string> names() const { return names_in(directory_.path()); }

  test_support::temp_directory directory_;
};

TEST_F(output_file_test, the_file_has_its_name_only_after_commit) {
  output_file file(at("out"));
  file.write("ab");
  file.write("c");
  EXPECT_EQ(file.size(), 3U);
  EXPECT_THAT(names(), ElementsAre(testing::AllOf(StartsWith("out."), testing::EndsWith(".part"))));
  file.commit();
  EXPECT_THAT(names(), ElementsAre("out"));
  EXPECT_EQ(content(at("out")), "abc");
}

TEST_F(output_file_test, without_commit_nothing_is_left_and_an_earlier_file_stays) {
  directory_.write("out", "before");
  {
    output_file file(at("out"));
    file.write("after");
  }
  EXPECT_THAT(names(), ElementsAre("out"));
  EXPECT_EQ(content(at("out")), "before");
}

TEST_F(output_file_test, a_missing_directory_is_named) {
  EXPECT_THAT(
      refusal_of([&] { output_file(at("no/out")); }, exit_code::output_failed),
      testing::AllOf(StartsWith("cannot write "), HasSubstr("no/out: there is no directory "),
                     HasSubstr("no; make it first, or give another name.")));
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(output_file_test, a_directory_is_refused_before_any_work) {
  EXPECT_THAT(refusal_of([&] { output_file(directory_.path()); }, exit_code::output_failed),
              HasSubstr("it is a directory; give the name of a file in it"));
}

TEST_F(output_file_test, what_cannot_get_its_name_can_stay_under_another) {
  std::filesystem::path left;
  {
    output_file file(at("out"));
    file.write("x");
    std::filesystem::create_directory(at("out"));
    EXPECT_THAT(refusal_of([&] { file.commit(); }, exit_code::output_failed), HasSubstr("out"));
    left = file.keep_part();
  }
  EXPECT_EQ(left.parent_path(), directory_.path());
  EXPECT_THAT(names(), ElementsAre("out", left.filename().string()));
  EXPECT_EQ(content(left), "x");
}

TEST_F(output_file_test, records_reach_the_file_when_they_are_many_or_on_request) {
  output_file file(at("out"));
  const auto part = directory_.path() / names().at(0);
  file.write("abc");
  EXPECT_EQ(content(part), "") << "few bytes are collected";
  file.flush();
  EXPECT_EQ(content(part), "abc");
  file.write(std::string(100'000, 'x'));
  EXPECT_EQ(content(part).size(), 100'003U);
}

TEST_F(output_file_test, a_dash_is_standard_output) {
  testing::internal::CaptureStdout();
  output_file file("-");
  file.write("abc");
  file.commit();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "abc");
}

// What `file` is before it was compressed; the members are read one after the other.
std::string decompressed(const std::string& bytes) {
  z_stream stream{};
  EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  std::string text;
  while (stream.avail_in != 0) {
    std::string piece(1 << 20, '\0');
    stream.next_out = reinterpret_cast<Bytef*>(piece.data());
    stream.avail_out = static_cast<uInt>(piece.size());
    const int result = inflate(&stream, Z_NO_FLUSH);
    text.append(piece, 0, piece.size() - stream.avail_out);
    if (result == Z_STREAM_END) {
      inflateReset(&stream);
    } else if (result != Z_OK) {
      ADD_FAILURE() << "not a gzip file: " << result;
      break;
    }
  }
  inflateEnd(&stream);
  return text;
}

TEST_F(output_file_test, what_is_compressed_is_a_gzip_file_of_the_records) {
  std::string expected;
  output_file file(at("out.gz"), output_file::storage::gzip);
  for (int i = 0; i < 3000; ++i) {
    const std::string record = std::string(200, static_cast<char>('a' + i % 26)) + "\n";
    file.write(record);
    file.flush();  // makes no small members
    expected += record;
  }
  EXPECT_EQ(file.size(), expected.size());
  file.commit();
  EXPECT_LT(content(at("out.gz")).size(), expected.size() / 20);
  EXPECT_EQ(decompressed(content(at("out.gz"))), expected);
}

}  // namespace
}  // namespace veltra::host
