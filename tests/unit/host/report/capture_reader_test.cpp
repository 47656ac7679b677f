#include "host/report/capture_reader.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "host/output/exported_pdu.h"
#include "host/output/pcapng_blocks.h"
#include "host/user_error.h"
#include "tests/support/temp_directory.h"

namespace veltra::report {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// A frame whose texts outlive the callback.
struct kept_frame {
  std::uint32_t number;
  std::uint64_t time;
  std::string interface;
  std::string dissector;
  way direction;
  std::string bytes;
};

class capture_reader_test : public testing::Test {
 protected:
  capture_reader_test() {
    host::pcapng::append_section_header(capture_, "hardware", "application");
    host::pcapng::append_interface(capture_, host::pcapng::link_type_exported_pdu, "rrc", "RRC");
    host::pcapng::append_interface(capture_, host::pcapng::link_type_raw_ip, "ip", "IP");
    const std::string header = host::exported_pdu_header("lte_rrc.ul_dcch", host::direction::sent);
    add(0, 1'000'000'001, header, "abc");
    add(1, 2'000'000'000, "", "IPv4 packet");
    host::pcapng::append_statistics(capture_, 0, 3, 1, 0);
  }

  void add(std::uint32_t interface, std::uint64_t time, std::string_view header,
           std::string_view payload, host::direction way = host::direction::unknown) {
    host::pcapng::enhanced_packet packet;
    packet.interface = interface;
    packet.time = time;
    packet.header = header;
    packet.payload = {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()};
    packet.full_payload_size = payload.size();
    packet.way = way;
    packet.comment = "a remark";
    host::pcapng::append_packet(capture_, packet);
  }

  capture_contents read(std::string_view bytes) {
    frames_.clear();
    return read_capture(directory_.write("capture.pcapng", bytes), [&](const capture_frame& frame) {
      frames_.push_back(
          {frame.number, frame.time, std::string(frame.interface), std::string(frame.dissector),
           frame.direction,
           std::string(reinterpret_cast<const char*>(frame.bytes.data()), frame.bytes.size())});
    });
  }

  std::string capture_;
  std::vector<kept_frame> frames_;
  test_support::temp_directory directory_;
};

TEST_F(capture_reader_test, gives_each_frame_with_its_tags) {
  const capture_contents contents = read(capture_);
  EXPECT_EQ(contents.frames, 2U);
  EXPECT_FALSE(contents.is_cut_off);
  ASSERT_EQ(frames_.size(), 2U);
  EXPECT_EQ(frames_[0].number, 1U);
  EXPECT_EQ(frames_[0].time, 1'000'000'001U);
  EXPECT_EQ(frames_[0].interface, "rrc");
  EXPECT_EQ(frames_[0].dissector, "lte_rrc.ul_dcch");
  EXPECT_EQ(frames_[0].direction, way::sent);
  EXPECT_EQ(frames_[0].bytes, "abc");
  EXPECT_EQ(frames_[1].interface, "ip");
  EXPECT_EQ(frames_[1].direction, way::unknown);
  EXPECT_EQ(frames_[1].bytes, "IPv4 packet");
}

TEST_F(capture_reader_test, a_direction_that_no_tag_names_is_in_the_flags) {
  const std::string at =
      host::exported_pdu_header("at", host::direction::unknown, {}, host::direction_tag::always);
  add(0, 3'000'000'000, at, "AT", host::direction::sent);
  add(0, 4'000'000'000, at, "OK", host::direction::received);
  add(0, 5'000'000'000, at, "Dropped traces count: 9");
  add(0, 6'000'000'000, host::exported_pdu_header("nas-eps", host::direction::received), "abc",
      host::direction::sent);
  read(capture_);
  ASSERT_EQ(frames_.size(), 6U);
  EXPECT_EQ(frames_[2].direction, way::sent);
  EXPECT_EQ(frames_[3].direction, way::received);
  EXPECT_EQ(frames_[4].direction, way::unknown);
  EXPECT_EQ(frames_[5].direction, way::received);
}

TEST_F(capture_reader_test, a_file_that_ends_anywhere_gives_the_whole_frames_before) {
  read(capture_);
  const std::vector<kept_frame> all = frames_;
  for (std::size_t size = 0; size < capture_.size(); ++size) {
    try {
      const capture_contents contents = read(capture_.substr(0, size));
      ASSERT_LE(frames_.size(), all.size());
      for (std::size_t i = 0; i < frames_.size(); ++i) EXPECT_EQ(frames_[i].bytes, all[i].bytes);
      EXPECT_EQ(contents.frames, frames_.size());
    } catch (const host::user_error& error) {
      // Only a file without a whole section header is refused.
      EXPECT_LT(size, 28U + 60U);
      EXPECT_EQ(error.code(), host::exit_code::bad_input);
    }
  }
}

TEST_F(capture_reader_test, any_flipped_byte_is_survived) {
  for (std::size_t at = 0; at < capture_.size(); ++at) {
    std::string damaged = capture_;
    damaged[at] = static_cast<char>(~damaged[at]);
    try {
      EXPECT_LE(read(damaged).frames, 2U) << at;
    } catch (const host::user_error& error) {
      EXPECT_EQ(error.code(), host::exit_code::bad_input);
    }
  }
}

TEST_F(capture_reader_test, refuses_what_is_not_pcapng) {
  for (const char* const bytes : {"", "text", "\xD4\xC3\xB2\xA1 a pcap file of the older format"}) {
    try {
      read(bytes);
      FAIL() << bytes;
    } catch (const host::user_error& error) {
      EXPECT_THAT(error.what(), HasSubstr("it is not a pcapng file"));
    }
  }
}

TEST_F(capture_reader_test, names_a_file_that_is_not_there) {
  try {
    read_capture(directory_.path() / "missing.pcapng", [](const capture_frame&) {});
    FAIL();
  } catch (const host::user_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("missing.pcapng: No such file"));
  }
}

TEST_F(capture_reader_test, reads_the_other_byte_order_and_microseconds) {
  using namespace std::string_literals;
  const std::string big_endian =
      "\x0A\x0D\x0D\x0A\x00\x00\x00\x1C\x1A\x2B\x3C\x4D\x00\x01\x00\x00"
      "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x00\x00\x00\x1C"  // section
      "\x00\x00\x00\x01\x00\x00\x00\x14\x00\x65\x00\x00\x00\x00\x00\x00\x00\x00\x00\x14"
      "\x00\x00\x00\x06\x00\x00\x00\x24\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x07"
      "\x00\x00\x00\x02\x00\x00\x00\x02Hi\x00\x00\x00\x00\x00\x24"s;
  read(big_endian);
  ASSERT_EQ(frames_.size(), 1U);
  EXPECT_EQ(frames_[0].time, 7'000U);
  EXPECT_EQ(frames_[0].bytes, "Hi");
}

}  // namespace
}  // namespace veltra::report
