#include "host/output/raw_recorder.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "host/user_error.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/display/packets.h"

namespace {

using live_test::packet_of;
using live_test::raw_packet;
using testing::HasSubstr;
using veltra::host::raw_recorder;
using veltra::host::user_error;

std::string content_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class raw_recorder_test : public testing::Test {
 protected:
  const test_support::temp_directory directory;
  const std::filesystem::path file = directory.path() / "trace.bin";
};

TEST_F(raw_recorder_test, every_raw_packet_is_in_the_file_at_once) {
  const std::string bytes("a\r\n\0\x1a", 5);
  raw_recorder recorder(file);
  recorder.take(raw_packet(bytes));
  EXPECT_EQ(content_of(file), bytes);
  recorder.take(raw_packet("more"));
  EXPECT_EQ(content_of(file), bytes + "more");
  EXPECT_EQ(recorder.bytes(), 9U);
  recorder.finish();
  EXPECT_EQ(content_of(file), bytes + "more");
}

TEST_F(raw_recorder_test, a_dash_is_standard_output) {
  testing::internal::CaptureStdout();
  raw_recorder recorder("-");
  recorder.take(raw_packet("raw"));
  recorder.finish();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "raw");
  EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(raw_recorder_test, decoded_packets_are_left_out) {
  raw_recorder recorder(file);
  recorder.take(raw_packet("raw"));
  recorder.take(packet_of("ip", "decoded"));
  recorder.finish();
  EXPECT_EQ(content_of(file), "raw");
}

TEST_F(raw_recorder_test, an_earlier_file_is_replaced_when_the_first_byte_comes) {
  directory.write("trace.bin", "an earlier recording");
  raw_recorder recorder(file);
  EXPECT_EQ(content_of(file), "an earlier recording");
  recorder.take(raw_packet("new"));
  EXPECT_EQ(content_of(file), "new");
}

TEST_F(raw_recorder_test, without_a_byte_there_is_no_file_and_an_earlier_one_stays) {
  raw_recorder(file).finish();
  EXPECT_FALSE(std::filesystem::exists(file));
  directory.write("trace.bin", "an earlier recording");
  raw_recorder(file).finish();
  EXPECT_EQ(content_of(file), "an earlier recording");
}

TEST_F(raw_recorder_test, a_name_that_can_never_be_written_fails_at_once) {
  for (const auto& name : {directory.path(), directory.path() / "none" / "trace.bin"}) {
    try {
      raw_recorder recorder(name);
      ADD_FAILURE() << name;
    } catch (const user_error& error) {
      EXPECT_EQ(error.code(), veltra::host::exit_code::output_failed);
      EXPECT_THAT(error.what(), HasSubstr("cannot write the raw trace " + name.string()));
    }
  }
}

TEST_F(raw_recorder_test, a_full_standard_output_is_told_in_a_sentence) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "needs a device that is always full";
  const auto record = [] {
    if (std::freopen("/dev/full", "wb", stdout) == nullptr) std::_Exit(1);
    raw_recorder recorder("-");
    try {
      recorder.take(raw_packet("raw"));
    } catch (const user_error& error) {
      std::fputs(error.what(), stderr);
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(record(), testing::ExitedWithCode(0),
              "^cannot write the raw trace to standard output: No space left");
}

}  // namespace
