#include "decoder/frame_scanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

// One event of a scanner: a frame's bytes, or "damaged".
struct found {
  bool damaged = false;
  bytes frame;
  bool operator==(const found&) const = default;
};

std::vector<found> scan(frame_scanner& scanner, std::span<const std::uint8_t> input) {
  std::vector<found> all;
  for (;;) {
    std::span<const std::uint8_t> frame;
    const auto event = scanner.next(input, frame);
    if (event == frame_scanner::event::need_more) {
      EXPECT_TRUE(input.empty());
      return all;
    }
    const bool damaged = event == frame_scanner::event::damaged;
    all.push_back({damaged, damaged ? bytes{} : bytes(frame.begin(), frame.end())});
  }
}

// The stream at once; every other chunking must give the same.
std::vector<found> scan(const bytes& stream) {
  frame_scanner whole;
  const auto all = scan(whole, stream);
  for (std::size_t size = 1; size < std::min<std::size_t>(stream.size(), 64); ++size) {
    frame_scanner scanner;
    std::vector<found> pieces;
    for (std::size_t at = 0; at < stream.size(); at += size) {
      const auto piece = std::span(stream).subspan(at, std::min(size, stream.size() - at));
      const auto more = scan(scanner, piece);
      pieces.insert(pieces.end(), more.begin(), more.end());
    }
    EXPECT_EQ(pieces.size(), all.size()) << "in pieces of " << size;
    EXPECT_TRUE(pieces == all) << "in pieces of " << size;
  }
  return all;
}

found frame(std::string_view text) {
  return {false, to_bytes(text)};
}
const found damaged = {true, {}};
using founds = std::vector<found>;

TEST(frame_scanner, a_frame_lies_between_two_flags) {
  EXPECT_EQ(scan(to_bytes("~abc~")), founds{frame("abc")});
}

TEST(frame_scanner, adjacent_frames_may_share_a_flag) {
  EXPECT_EQ(scan(to_bytes("~abc~de~f~")), (founds{frame("abc"), frame("de"), frame("f")}));
}

TEST(frame_scanner, empty_frames_are_passed_over) {
  EXPECT_EQ(scan(to_bytes("~~~~abc~~de~~~")), (founds{frame("abc"), frame("de")}));
}

TEST(frame_scanner, bytes_before_the_first_flag_are_skipped) {
  EXPECT_EQ(scan(to_bytes("xyz}~abc~")), founds{frame("abc")});
  EXPECT_EQ(scan(to_bytes("xyz")), founds{});
}

TEST(frame_scanner, a_frame_without_its_closing_flag_is_not_found) {
  EXPECT_EQ(scan(to_bytes("~abc~de")), founds{frame("abc")});
}

TEST(frame_scanner, escapes_are_undone) {
  EXPECT_EQ(scan(to_bytes("~a}^b}]c~")), founds{frame("a~b}c")});
  EXPECT_EQ(scan(to_bytes("~}^}]}^~")), founds{frame("~}~")});
}

TEST(frame_scanner, an_escape_of_any_octet_is_undone) {
  for (unsigned octet = 0; octet < 256; ++octet) {
    if (octet == frame_flag) {
      continue;
    }
    const bytes stream = {frame_flag, 'a', frame_escape, static_cast<std::uint8_t>(octet),
                          frame_flag};
    const bytes undone = {'a', static_cast<std::uint8_t>(octet ^ 0x20)};
    EXPECT_EQ(scan(stream), (founds{{false, undone}})) << octet;
  }
}

TEST(frame_scanner, an_escape_before_a_flag_aborts_the_frame) {
  EXPECT_EQ(scan(to_bytes("~abc}~de~")), (founds{damaged, frame("de")}));
  EXPECT_EQ(scan(to_bytes("~}~de~")), (founds{damaged, frame("de")}));
  EXPECT_EQ(scan(to_bytes("~abc}]}~de~")), (founds{damaged, frame("de")}));
}

TEST(frame_scanner, the_largest_frame_is_found_and_one_byte_more_is_damaged) {
  const bytes largest(max_frame_size, 'a');
  const bytes larger(max_frame_size + 1, 'a');
  frame_scanner scanner;
  EXPECT_EQ(scan(scanner, stuff(largest) + stuff(larger) + to_bytes("~ok~")),
            (founds{{false, largest}, damaged, frame("ok")}));
}

TEST(frame_scanner, the_limit_is_counted_after_unstuffing) {
  const bytes largest(max_frame_size, frame_flag);
  const bytes larger(max_frame_size + 1, frame_escape);
  const bytes stream = stuff(largest) + stuff(larger) + to_bytes("~ok~");
  for (const std::size_t size : {std::size_t{997}, stream.size()}) {
    frame_scanner scanner;
    founds all;
    for (std::size_t at = 0; at < stream.size(); at += size) {
      const auto more =
          scan(scanner, std::span(stream).subspan(at, std::min(size, stream.size() - at)));
      all.insert(all.end(), more.begin(), more.end());
    }
    EXPECT_EQ(all, (founds{{false, largest}, damaged, frame("ok")}));
  }
}

TEST(frame_scanner, an_endless_frame_is_one_damaged_frame) {
  frame_scanner scanner;
  EXPECT_EQ(scan(scanner, to_bytes("~")), founds{});
  const bytes noise(4096, frame_escape);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(scan(scanner, noise), founds{});
  }
  EXPECT_EQ(scan(scanner, to_bytes("~abc~")), (founds{damaged, frame("abc")}));
}

TEST(frame_scanner, after_a_reset_it_waits_for_a_flag) {
  frame_scanner scanner;
  EXPECT_EQ(scan(scanner, to_bytes("~abc}")), founds{});
  scanner.reset();
  EXPECT_EQ(scan(scanner, to_bytes("de~fg~")), founds{frame("fg")});
}

}  // namespace
}  // namespace open_decoder::test
