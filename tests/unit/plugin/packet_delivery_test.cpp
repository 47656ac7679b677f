#include "plugin/packet_delivery.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "implementation/json.h"

namespace {

using veltra::packet_delivery;
using veltra::packet_receiver;

struct seen_packet {
  std::string data, format, category, metadata;
  std::uint64_t sequence, timestamp, field_32;
};

class delivery : public ::testing::Test {
 protected:
  static void keep(kovax_source* /*source*/, void* user_data, kovax_stream_packet_t packet) {
    static_cast<delivery*>(user_data)->packets.push_back(
        {std::string(reinterpret_cast<const char*>(packet.data), packet.data_size), packet.format,
         packet.category, packet.metadata, packet.sequence_number, packet.timestamp,
         packet.field_32});
    EXPECT_EQ(packet.field_12, 0U);
    EXPECT_EQ(packet.field_64, 0U);
  }

  packet_receiver to{nullptr, this, keep};
  packet_delivery sut;
  std::vector<seen_packet> packets;
};

TEST_F(delivery, a_raw_packet_counts_its_own_bytes_into_the_offset) {
  sut.set_data_size(5000);
  sut.deliver_raw(to, "abc");
  sut.deliver_raw(to, "de");
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(packets[0].data, "abc");
  EXPECT_EQ(packets[0].format, "modem_trace");
  EXPECT_EQ(packets[0].category, "binary");
  EXPECT_EQ(packets[0].field_32, 0U);
  EXPECT_EQ(packets[0].timestamp, 0U);
  EXPECT_EQ(packets[0].metadata,
            R"({"data_offset":3,"data_size":5000,"modem_db_path":"","modem_db_uuid":""})");
  EXPECT_EQ(packets[1].metadata,
            R"({"data_offset":5,"data_size":5000,"modem_db_path":"","modem_db_uuid":""})");
}

TEST_F(delivery, without_a_file_there_is_no_data_size) {
  sut.deliver_raw(to, "x");
  EXPECT_EQ(packets[0].metadata, R"({"data_offset":1,"modem_db_path":"","modem_db_uuid":""})");
}

TEST_F(delivery, an_empty_chunk_is_no_packet_and_takes_no_number) {
  sut.deliver_raw(to, "");
  sut.deliver_raw(to, "x");
  ASSERT_EQ(packets.size(), 1U);
  EXPECT_EQ(packets[0].sequence, 1U);
}

TEST_F(delivery, what_no_packet_can_hold_comes_in_several) {
  std::vector<std::uint32_t> sizes;
  const packet_receiver counting{
      nullptr, &sizes, [](kovax_source*, void* user_data, kovax_stream_packet_t packet) {
        static_cast<std::vector<std::uint32_t>*>(user_data)->push_back(packet.data_size);
      }};
  // Nobody looks at the bytes, of which there is one.
  sut.deliver_raw(counting, std::string_view("x", (std::uint64_t{1} << 32) + 5));
  EXPECT_EQ(sizes, (std::vector<std::uint32_t>{4294967295U, 6}));
  sut.deliver_raw(to, "y");
  EXPECT_EQ(packets[0].sequence, 3U);
  EXPECT_EQ(packets[0].metadata,
            R"({"data_offset":4294967302,"modem_db_path":"","modem_db_uuid":""})");
}

TEST_F(delivery, decoded_packets_share_the_sequence_and_keep_their_fields) {
  kovax_stream_packet_t decoded{};
  decoded.data = reinterpret_cast<const std::uint8_t*>("ip");
  decoded.data_size = 2;
  decoded.format = "ip";
  decoded.category = "network";
  decoded.field_32 = 1;
  decoded.timestamp = 77;
  sut.deliver_raw(to, "abc");
  sut.deliver_decoded(to, decoded);
  sut.deliver_raw(to, "d");
  ASSERT_EQ(packets.size(), 3U);
  EXPECT_EQ(packets[1].sequence, 2U);
  EXPECT_EQ(packets[1].format, "ip");
  EXPECT_EQ(packets[1].timestamp, 77U);
  EXPECT_EQ(packets[1].field_32, 1U);
  EXPECT_EQ(packets[1].metadata, packets[0].metadata);
  EXPECT_EQ(packets[2].sequence, 3U);
}

TEST_F(delivery, a_new_database_shows_in_the_next_packet) {
  sut.deliver_raw(to, "a");
  sut.set_database("/db/\"é\".json", "some-uuid");
  sut.deliver_raw(to, "b");
  EXPECT_EQ(packets[1].metadata,
            R"({"data_offset":2,"modem_db_path":"/db/\"é\".json","modem_db_uuid":"some-uuid"})");
}

TEST_F(delivery, metadata_that_is_not_utf_8_is_an_error_and_takes_no_number) {
  sut.set_database("/db/\xFF.json", "");
  EXPECT_THROW(sut.deliver_raw(to, "a"), kovax::json::type_error);
  sut.set_database("/db/x.json", "");
  sut.deliver_raw(to, "b");
  EXPECT_EQ(packets.at(0).sequence, 1U);
}

TEST_F(delivery, a_null_callback_drops_packets_and_counts_them) {
  sut.deliver_raw({nullptr, nullptr, nullptr}, "a");
  sut.deliver_raw(to, "b");
  EXPECT_EQ(packets.at(0).sequence, 2U);
}

}  // namespace
