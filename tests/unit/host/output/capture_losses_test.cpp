// What a capture says about packets that are not in it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/output/pcapng_blocks.h"
#include "host/output/pcapng_sink.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::Pair;

class capture_losses : public testing::Test {
 protected:
  capture_losses() : sink_(path_, {}) { sink_.begin(); }

  void put(std::string_view layer, std::string_view payload) {
    sink_.write(packet_of(layer, payload));
  }

  void finish() {
    sink_.finish();
    file_ = content(path_);
  }

  std::vector<std::string> comments() const {
    std::vector<std::string> all;
    for (const captured_packet& packet : read_packets(file_)) all.push_back(packet.comment);
    return all;
  }

  // Drops by interface, where there are any.
  std::map<std::uint32_t, std::uint64_t> drops() const {
    std::map<std::uint32_t, std::uint64_t> all;
    for (const capture_block& block : read_blocks(file_)) {
      if (block.type != pcapng::interface_statistics_type) continue;
      const std::uint64_t count = capture_block{0, block.options(12).at(5)}.u64(0);
      if (count != 0) all[block.u32(0)] = count;
    }
    return all;
  }

  test_support::temp_directory directory_;
  std::filesystem::path path_ = directory_.path() / "out.pcapng";
  pcapng_sink sink_;
  std::string file_;
};

TEST_F(capture_losses, a_report_is_a_packet_and_a_comment_on_the_packet_behind_the_gap) {
  put("nas-eps", "\x07\x41");
  put("at", "Dropped traces count: 7");
  put("nas-eps", "\x07\x42");
  put("nas-eps", "\x07\x43");
  finish();
  EXPECT_THAT(comments(),
              ElementsAre("", "dropped traces", "7 traces before this packet were dropped", ""));
  EXPECT_THAT(drops(), ElementsAre(Pair(1, 7))) << "on the interface of the report";
}

TEST_F(capture_losses, reports_in_a_row_are_one_gap) {
  put("at", "Dropped traces count: 1");
  put("at", "Dropped traces count: 2");
  put("ip", "E");
  put("at", "Dropped traces count: 1");
  put("ip", "E");
  finish();
  EXPECT_THAT(comments(), ElementsAre("dropped traces", "dropped traces",
                                      "3 traces before this packet were dropped", "dropped traces",
                                      "1 trace before this packet was dropped"));
  EXPECT_THAT(drops(), ElementsAre(Pair(0, 4)));
}

TEST_F(capture_losses, a_report_of_none_is_no_gap) {
  put("at", "Dropped traces count: 0");
  put("ip", "E");
  finish();
  EXPECT_THAT(comments(), ElementsAre("dropped traces", ""));
}

TEST_F(capture_losses, everything_there_is_to_say_about_a_packet_is_in_its_comment) {
  put("at", "Dropped traces count: 2");
  sink_.mark_missed(1);
  put("strange", "x");
  finish();
  EXPECT_THAT(comments(),
              ElementsAre("dropped traces",
                          "1 packet before this one was missed: the reader was too slow; 2 traces "
                          "before this packet were dropped; no dissector for layer strange"));
  EXPECT_THAT(drops(), ElementsAre(Pair(0, 2), Pair(1, 1)));
}

TEST_F(capture_losses, packets_that_are_missed_at_the_end_are_in_the_statistics) {
  put("ip", "E");
  sink_.mark_missed(3);
  finish();
  EXPECT_THAT(drops(), ElementsAre(Pair(0, 3)));
}

}  // namespace
}  // namespace veltra::host
