#include "host/output/key_log_sink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;

TEST(key_log_sink, writes_the_lines_of_a_key_log_and_nothing_else) {
  const test_support::temp_directory directory;
  key_log_sink sink(directory.path() / "keys.txt");
  sink.begin();
  const std::string random = std::string(32, 'a') + std::string(32, 'b');
  sink.write(packet_of("ip", "E"));
  sink.write(packet_of("handshake_randbytes", random));
  sink.mark_missed(3);
  sink.write(packet_of("session_master", std::string(48, 'c')));
  sink.finish();
  std::string hex_a;
  std::string hex_b;
  std::string hex_c;
  for (int i = 0; i < 32; ++i) hex_a += "61", hex_b += "62";
  for (int i = 0; i < 48; ++i) hex_c += "63";
  EXPECT_EQ(content(directory.path() / "keys.txt"),
            "# 3 packets were missed here: the output was too slow\nCLIENT_RANDOM " + hex_a + " " +
                hex_c + "\nCLIENT_RANDOM " + hex_b + " " + hex_c + "\n");
}

TEST(key_log_sink, a_trace_without_secrets_makes_an_empty_file) {
  const test_support::temp_directory directory;
  key_log_sink sink(directory.path() / "keys.txt");
  sink.begin();
  sink.write(packet_of("at", "OK"));
  sink.finish();
  EXPECT_EQ(content(directory.path() / "keys.txt"), "");
}

}  // namespace
}  // namespace veltra::host
