#include "host/source/file_kind.h"

#include <gtest/gtest.h>

namespace veltra::host {
namespace {

using namespace std::string_literals;

TEST(file_kind, captures_and_archives_are_known_by_their_first_bytes) {
  EXPECT_EQ(foreign_kind("\n\r\r\n\x1c\0\0\0\x4d\x3c\x2b\x1a\x01\0"s), "a pcapng capture");
  EXPECT_EQ(foreign_kind("\xd4\xc3\xb2\xa1\x02\0\x04\0 more"s), "a pcap capture");
  EXPECT_EQ(foreign_kind(std::string(257, 'n') + "ustar\0"s), "a tar archive");
  EXPECT_EQ(foreign_kind("PK\x03\x04 more"), "a zip archive");
  EXPECT_EQ(foreign_kind("BZh91AY&SY more"), "a bzip2 archive");
  EXPECT_EQ(foreign_kind("\x1f\x8b\x08\0"s), "a gzip file whose name does not end in .gz");
}

TEST(file_kind, what_may_be_a_trace_is_of_no_kind) {
  for (const std::string& bytes :
       {""s, "\n\r\r\n"s, "\n\r\r\n\x1c\0\0\0\0\0\0\0"s, "PK"s, "AT+CFUN=1\r\n"s}) {
    EXPECT_EQ(foreign_kind(bytes), "");
  }
}

TEST(file_kind, text_is_doubtful) {
  EXPECT_EQ(doubtful_kind("time;value\r\n1;\xc3\xa4\n"), "text");
  EXPECT_EQ(doubtful_kind("text\0"s), "");
  EXPECT_EQ(doubtful_kind("\x7f"
                          "ELF"),
            "");
  EXPECT_EQ(doubtful_kind(""), "");
}

}  // namespace
}  // namespace veltra::host
