#include "host/commands/file_limits.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "host/user_error.h"

namespace veltra::host {
namespace {

std::string refusal(const std::function<void()>& action) {
  try {
    action();
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), exit_code::usage);
    return error.what();
  }
  return "nothing was refused";
}

TEST(file_limits, have_the_kinds_and_units_of_dumpcap) {
  const rotation_request request = parse_rotation(
      {"duration:0.5", "filesize:500000", "files:48", "packets:7", "interval:3600", "printname:-"});
  EXPECT_EQ(request.rotation.piece.duration, std::chrono::duration<double>(0.5));
  EXPECT_EQ(request.rotation.piece.bytes, 500'000'000U);
  EXPECT_EQ(request.rotation.piece.files, 48U);
  EXPECT_EQ(request.rotation.piece.packets, 7U);
  EXPECT_EQ(request.rotation.interval, 3600U);
  EXPECT_TRUE(request.prints_names);
  EXPECT_TRUE(request.rotation.has_boundary());
  EXPECT_FALSE(parse_rotation({"files:3"}).rotation.has_boundary());
}

TEST(file_limits, of_the_end_have_no_interval) {
  EXPECT_EQ(parse_end({"files:3", "files:4"}).files, 4U);
  EXPECT_NE(refusal([] { parse_end({"interval:3"}); }).find("-a interval:3: give duration:"),
            std::string::npos);
}

TEST(file_limits, refuse_what_is_not_a_number_above_0) {
  for (const char* value : {"filesize:0", "filesize:", "filesize", "duration:-1", "duration:x",
                            "duration:nan", "packets:1.5", "files:5000000000", "files:1 ",
                            "filesize:99999999999999999999", "", ":", "printname:file"}) {
    EXPECT_NE(refusal([&] { parse_rotation({value}); }), "nothing was refused") << value;
  }
}

TEST(file_limits, sizes_are_in_powers_of_1000) {
  EXPECT_EQ(parse_size("--min-free", "2G"), 2'000'000'000U);
  EXPECT_EQ(parse_size("--min-free", "64k"), 64'000U);
  EXPECT_EQ(parse_size("--min-free", "17"), 17U);
  for (const char* text : {"", "G", "-1", "0", "2X", "99999999999T", "2 G"}) {
    EXPECT_NE(refusal([&] { parse_size("--min-free", text); }), "nothing was refused") << text;
  }
}

}  // namespace
}  // namespace veltra::host
