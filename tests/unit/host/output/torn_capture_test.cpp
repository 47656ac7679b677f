#include "host/output/torn_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/output/part_files.h"
#include "host/output/pcapng_blocks.h"

namespace veltra::host {
namespace {

// A capture of two packets on one interface, and the offsets at which its blocks end.
struct sample {
  std::string bytes;
  std::vector<std::size_t> ends;

  sample() {
    pcapng::append_section_header(bytes, "modem", "program");
    ends.push_back(bytes.size());
    pcapng::append_interface(bytes, pcapng::link_type_exported_pdu, "at", "AT");
    ends.push_back(bytes.size());
    for (const std::uint64_t time : {std::uint64_t{5}, std::uint64_t{70000000000}}) {
      const std::vector<std::uint8_t> payload = {1, 2, 3};
      pcapng::enhanced_packet packet;
      packet.time = time;
      packet.payload = payload;
      packet.full_payload_size = payload.size();
      pcapng::append_packet(bytes, packet);
      ends.push_back(bytes.size());
    }
  }
};

TEST(torn_capture, cut_anywhere_ends_with_its_last_whole_block) {
  const sample sample;
  for (std::size_t size = 0; size <= sample.bytes.size(); ++size) {
    torn_capture capture;
    EXPECT_TRUE(capture.add(sample.bytes.substr(0, size)));
    std::size_t expected = 0;
    for (const std::size_t end : sample.ends) {
      if (end <= size) expected = end;
    }
    EXPECT_EQ(capture.whole_bytes(), expected) << size;
  }
}

TEST(torn_capture, says_when_its_last_whole_packet_came) {
  std::string bytes;
  pcapng::append_section_header(bytes, "modem", "program");
  pcapng::append_interface(bytes, pcapng::link_type_exported_pdu, "at", "AT", 1'714'564'800);
  pcapng::append_interface(bytes, pcapng::link_type_exported_pdu, "nas", "NAS", 1'714'564'800);
  const std::vector<std::uint8_t> payload = {1, 2, 3};
  for (const std::uint64_t time : {std::uint64_t{7}, std::uint64_t{70'000'000'000}}) {
    pcapng::enhanced_packet packet;
    packet.time = time;
    packet.payload = payload;
    packet.full_payload_size = payload.size();
    pcapng::append_packet(bytes, packet);
  }
  torn_capture whole;
  whole.add(bytes);
  EXPECT_EQ(whole.last_time(), 1'714'564'870'000'000'000U);
  torn_capture cut;
  cut.add(bytes.substr(0, bytes.size() - 1));
  EXPECT_EQ(cut.last_time(), 1'714'564'800'000'000'007U);
}

TEST(torn_capture, is_the_same_in_pieces_of_any_size) {
  const sample sample;
  torn_capture capture;
  for (const char byte : sample.bytes) EXPECT_TRUE(capture.add({&byte, 1}));
  EXPECT_EQ(capture.whole_bytes(), sample.bytes.size());
  EXPECT_EQ(capture.packets(), 2U);
}

TEST(torn_capture, ends_before_the_zeros_that_a_loss_of_power_leaves) {
  const sample sample;
  torn_capture capture;
  EXPECT_FALSE(capture.add(sample.bytes + std::string(4096, '\0')));
  EXPECT_EQ(capture.whole_bytes(), sample.bytes.size());
}

TEST(torn_capture, ends_before_a_block_whose_lengths_differ) {
  sample sample;
  sample.bytes.back() = '\1';
  torn_capture capture;
  EXPECT_FALSE(capture.add(sample.bytes));
  EXPECT_EQ(capture.whole_bytes(), sample.ends[2]);
  EXPECT_EQ(capture.packets(), 1U);
}

TEST(torn_capture, gets_the_statistics_that_it_lacks) {
  const sample sample;
  torn_capture capture;
  capture.add(sample.bytes);
  std::string expected;
  pcapng::append_statistics(expected, 0, 70000000000, 2, std::nullopt);
  EXPECT_EQ(capture.missing_statistics(), expected);
  capture.add(expected);
  EXPECT_EQ(capture.missing_statistics(), "");
  EXPECT_EQ(capture.whole_bytes(), sample.bytes.size() + expected.size());
}

TEST(torn_capture, a_file_that_does_not_begin_with_a_section_has_nothing) {
  torn_capture capture;
  EXPECT_FALSE(capture.add("{\"sequence\":1}\n"));
  EXPECT_EQ(capture.whole_bytes(), 0U);
}

TEST(part_files, have_the_name_that_they_would_have_got) {
  EXPECT_EQ(target_of_part("dir/a.pcapng.0123abcd.part"), "dir/a.pcapng");
  for (const char* name : {"a.pcapng", "a.part", ".0123abcd.part", "a.pcapng.0123abcg.part",
                           "a.pcapng0123abcd.part", "a.pcapng.0123abc.part"}) {
    EXPECT_EQ(target_of_part(name), "") << name;
  }
}

}  // namespace
}  // namespace veltra::host
