// The packet record and the metadata text, byte for byte.
#include <filesystem>
#include <string>

#include "platform/file.h"
#include "tests/support/source_fixture.h"
#include "tests/support/test_names.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::minimal_database;
using test_support::received_packet;
using testing::HasSubstr;

class packets_test : public test_support::source_fixture {
 protected:
  void queue_ip(std::uint64_t parses, const std::string& body, std::uint64_t timestamp = 0) {
    decoder.add_trace(parses, database_master, build_trace({.buffer_id = "1"}, body), timestamp);
  }
};

// --- raw packets ---------------------------------------------------------------------

TEST_F(packets_test, a_raw_packet_is_filled_as_published) {
  open_trace("abc");
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 1U);
  const auto& packet = session.packets.front();
  EXPECT_EQ(packet.data, "abc");
  EXPECT_EQ(packet.data_size, 3U);
  EXPECT_EQ(packet.field_12, 0U);
  EXPECT_EQ(packet.format, "modem_trace");
  EXPECT_EQ(packet.category, "binary");
  EXPECT_EQ(packet.field_32, 0U);
  EXPECT_EQ(packet.timestamp, 0U);
  EXPECT_EQ(packet.sequence_number, 1U);
  EXPECT_EQ(packet.field_64, 0U);
}

TEST_F(packets_test, a_raw_packet_stays_zero_behind_a_decoded_one) {
  queue_ip(0, "ip", 99);
  open_decoding("abc", conversion_database());
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[1].field_32, 0U);
  EXPECT_EQ(session.packets[1].timestamp, 0U);
}

// --- decoded packets ------------------------------------------------------------------

TEST_F(packets_test, a_decoded_packet_is_filled_as_published) {
  queue_ip(1, "payload", 0x0123456789ABCDEF);
  open_decoding("abc", conversion_database());
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  const auto& packet = session.packets[1];
  EXPECT_EQ(packet.data, "payload");
  EXPECT_EQ(packet.data_size, 7U);
  EXPECT_EQ(packet.field_12, 0U);
  EXPECT_EQ(packet.format, "ip");
  EXPECT_EQ(packet.category, "network");
  EXPECT_EQ(packet.field_32, 1U);
  EXPECT_EQ(packet.timestamp, 0x0123456789ABCDEFU);
  EXPECT_EQ(packet.sequence_number, 2U);
  EXPECT_EQ(packet.field_64, 0U);
  EXPECT_EQ(packet.source, session.handle());
}

class timestamp_test : public packets_test, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(timestamp_test, is_passed_on_unchanged) {
  queue_ip(1, "x", GetParam());
  open_decoding("abc", conversion_database());
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.at(1).timestamp, GetParam());
}

INSTANTIATE_TEST_SUITE_P(values, timestamp_test,
                         testing::Values(0, 1, 0xFFFFFFFF, 0x100000000, 0x7FFFFFFFFFFFFFFF,
                                         0xFFFFFFFFFFFFFFFF),
                         test_support::named_by_value());

TEST_F(packets_test, an_empty_payload_with_a_layer_is_a_packet_of_size_0) {
  queue_ip(1, "");
  open_decoding("abc", conversion_database());
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[1].data_size, 0U);
  EXPECT_EQ(session.packets[1].format, "ip");
}

TEST_F(packets_test, a_large_payload_comes_whole) {
  const auto body = test_support::varied_bytes(1 << 20);
  queue_ip(1, body);
  open_decoding("abc", conversion_database());
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.at(1).data, body);
}

// --- sequence ----------------------------------------------------------------------------

TEST_F(packets_test, raw_and_decoded_packets_share_one_sequence) {
  for (const std::uint64_t parses : {1U, 1U, 2U, 3U, 3U}) queue_ip(parses, "ip");
  open_decoding(test_support::varied_bytes(3000), conversion_database());
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 8U);
  for (std::size_t index = 0; index < session.packets.size(); ++index) {
    EXPECT_EQ(session.packets[index].sequence_number, index + 1);
  }
}

// --- metadata ----------------------------------------------------------------------------

TEST_F(packets_test, offsets_of_a_file_of_5000_bytes) {
  open({{"file_path", write_trace_of(5000)}});
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 5U);
  EXPECT_EQ(session.packets[0].metadata,
            R"({"data_offset":1024,"data_size":5000,"modem_db_path":"","modem_db_uuid":""})");
  EXPECT_EQ(session.packets[3].metadata,
            R"({"data_offset":4096,"data_size":5000,"modem_db_path":"","modem_db_uuid":""})");
  EXPECT_EQ(session.packets[4].metadata,
            R"({"data_offset":5000,"data_size":5000,"modem_db_path":"","modem_db_uuid":""})");
}

TEST_F(packets_test, metadata_with_a_database_names_its_path_and_uuid) {
  open_decoding("abc");
  EXPECT_EQ(session.start(), 0);
  const json path = platform::path_to_utf8(directory.path() / "db.json");
  EXPECT_EQ(session.packets.at(0).metadata,
            R"({"data_offset":3,"data_size":3,"modem_db_path":)" + path.dump() +
                R"(,"modem_db_uuid":"0a1b2c3d-0000-4000-8000-00112233aabb"})");
}

TEST_F(packets_test, metadata_of_a_decoded_packet_has_the_offset_of_the_input_so_far) {
  queue_ip(0, "before anything was read");
  queue_ip(1, "behind the first chunk");
  open_decoding(test_support::varied_bytes(2000), conversion_database());
  EXPECT_EQ(session.start(), 0);
  const auto decoded = session.decoded();
  ASSERT_EQ(decoded.size(), 2U);
  EXPECT_EQ(json::parse(decoded[0].metadata).at("data_offset"), 0);
  EXPECT_EQ(json::parse(decoded[1].metadata).at("data_offset"), 1024);
}

TEST_F(packets_test, metadata_of_decoded_and_raw_packets_has_the_same_form) {
  queue_ip(1, "ip");
  open_decoding("abc", conversion_database());
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[0].metadata, session.packets[1].metadata);
}

TEST_F(packets_test, a_database_without_uuid_is_unknown) {
  auto database = minimal_database();
  database["meta"].erase("uuid");
  open_decoding("abc", database);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(json::parse(session.packets.at(0).metadata).at("modem_db_uuid"), "UUID_UNKNOWN");
}

TEST_F(packets_test, non_ascii_paths_stand_as_utf8) {
  const std::string name = "D\xC3\xA4t\xE6\x97\xA5\xF0\x9F\x93\xA1.json";
  EXPECT_THAT(metadata_with_database(name), HasSubstr(name + "\",\"modem_db_uuid\""));
}

TEST_F(packets_test, a_uuid_of_any_text_is_escaped) {
  auto database = minimal_database();
  database["meta"]["uuid"] = std::string("q\"\\/\0\xC3\xA4", 7);
  open_decoding("x", database);
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.packets.at(0).metadata,
              HasSubstr("\"modem_db_uuid\":\"q\\\"\\\\/\\u0000\xC3\xA4\"}"));
}

TEST_F(packets_test, sizes_beyond_4_gib_are_reported_whole) {
  const auto path = write_trace("x");
  std::filesystem::resize_file(path, 5368709120);
  open({{"file_path", path}, {"chunk_size", 10}});
  session.on_packet = [&](const received_packet&) { session.stop(); };
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets[1].metadata,
            R"({"data_offset":20,"data_size":5368709120,"modem_db_path":"","modem_db_uuid":""})");
}

TEST_F(packets_test, data_size_is_that_of_the_file_at_init) {
  const auto path = write_trace_of(5000);
  open({{"file_path", path}});
  std::filesystem::resize_file(path, 100);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.at(0).metadata,
            R"({"data_offset":100,"data_size":5000,"modem_db_path":"","modem_db_uuid":""})");
}

TEST_F(packets_test, every_chunk_of_one_byte_has_its_own_metadata) {
  open({{"file_path", write_trace_of(300)}, {"chunk_size", 1}});
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 300U);
  for (std::size_t index = 0; index < 300; ++index) {
    EXPECT_EQ(session.packets[index].metadata,
              "{\"data_offset\":" + std::to_string(index + 1) +
                  R"(,"data_size":300,"modem_db_path":"","modem_db_uuid":""})");
  }
}

}  // namespace
