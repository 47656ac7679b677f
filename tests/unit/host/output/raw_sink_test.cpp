#include "host/output/raw_sink.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/user_error.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class raw_sink_test : public testing::Test {
 protected:
  const test_support::temp_directory directory;
  const std::filesystem::path file = directory.path() / "trace.bin";
};

TEST_F(raw_sink_test, every_raw_packet_is_in_the_file_at_once) {
  const std::string bytes("a\r\n\0\x1a", 5);
  raw_sink sink(file);
  sink.write(raw_packet(bytes));
  EXPECT_EQ(content(file), bytes);
  sink.write(raw_packet("more"));
  EXPECT_EQ(content(file), bytes + "more");
  EXPECT_EQ(sink.bytes(), 9U);
  EXPECT_EQ(sink.name(), platform::path_to_utf8(file));
  EXPECT_FALSE(sink.is_stream());
  sink.finish();
  EXPECT_EQ(content(file), bytes + "more");
}

TEST_F(raw_sink_test, a_dash_is_standard_output) {
  testing::internal::CaptureStdout();
  raw_sink sink("-");
  EXPECT_TRUE(sink.is_stream());
  sink.begin();
  sink.write(raw_packet("raw"));
  sink.finish();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "raw");
  EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(raw_sink_test, decoded_packets_are_left_out) {
  raw_sink sink(file);
  sink.write(raw_packet("raw"));
  sink.write(packet_of("ip", "decoded"));
  sink.finish();
  EXPECT_EQ(content(file), "raw");
}

// Hours of a modem's trace do not come a second time.
TEST_F(raw_sink_test, an_existing_file_is_refused_and_stays) {
  directory.write("trace.bin", "an earlier recording");
  EXPECT_EQ(refusal_of([&] { raw_sink sink(file); }, exit_code::usage),
            platform::path_to_utf8(file) +
                " exists; give another name for the raw trace, or replace the file with "
                "--overwrite.");
  EXPECT_EQ(content(file), "an earlier recording");
}

TEST_F(raw_sink_test, a_file_that_appears_before_the_first_byte_stays) {
  raw_sink sink(file);
  sink.begin();
  directory.write("trace.bin", "an earlier recording");
  EXPECT_THAT(refusal_of([&] { sink.write(raw_packet("new")); }, exit_code::output_failed),
              StartsWith("cannot write the raw trace " + platform::path_to_utf8(file)));
  EXPECT_FALSE(sink.salvage());
  EXPECT_EQ(content(file), "an earlier recording");
}

TEST_F(raw_sink_test, on_request_an_earlier_file_is_replaced_when_the_first_byte_comes) {
  directory.write("trace.bin", "an earlier recording");
  raw_sink sink(file, true);
  sink.begin();
  EXPECT_EQ(content(file), "an earlier recording");
  sink.write(raw_packet("new"));
  EXPECT_EQ(content(file), "new");
}

TEST_F(raw_sink_test, without_a_byte_there_is_no_file_and_an_earlier_one_stays) {
  const auto record_nothing = [&](bool may_overwrite) {
    raw_sink sink(file, may_overwrite);
    sink.begin();
    sink.write(packet_of("ip", "decoded"));
    sink.finish();
  };
  record_nothing(false);
  EXPECT_THAT(names_in(directory.path()), IsEmpty());
  directory.write("trace.bin", "an earlier recording");
  record_nothing(true);
  EXPECT_EQ(content(file), "an earlier recording");
}

TEST_F(raw_sink_test, a_name_that_can_never_be_written_fails_at_once) {
  for (const auto& name : {directory.path(), directory.path() / "none" / "trace.bin"}) {
    EXPECT_THAT(refusal_of([&] { raw_sink sink(name); }, exit_code::output_failed),
                HasSubstr("cannot write the raw trace " + platform::path_to_utf8(name)));
  }
}

TEST_F(raw_sink_test, what_was_written_stays_whatever_happens) {
  {
    raw_sink sink(file);
    sink.begin();
    sink.write(raw_packet("raw"));
  }
  EXPECT_EQ(content(file), "raw");
}

TEST_F(raw_sink_test, chunks_that_its_reader_missed_are_counted) {
  raw_sink sink(file);
  sink.begin();
  EXPECT_EQ(sink.remarks(), "");
  sink.mark_missed(1);
  EXPECT_EQ(sink.remarks(), "1 chunk missed: the reader was too slow");
  sink.mark_missed(2);
  EXPECT_EQ(sink.remarks(), "3 chunks missed: the reader was too slow");
}

TEST_F(raw_sink_test, a_full_standard_output_is_a_failure) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "needs a device that is always full";
  const auto record = [] {
    if (std::freopen("/dev/full", "wb", stdout) == nullptr) std::_Exit(1);
    raw_sink sink("-");
    sink.begin();
    try {
      sink.write(raw_packet("raw"));
    } catch (const user_error& error) {
      std::fputs(error.what(), stderr);
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(record(), testing::ExitedWithCode(0),
              "^cannot write the raw trace to standard output: No space left");
}

}  // namespace
}  // namespace veltra::host
