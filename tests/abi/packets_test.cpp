// The packet record and the metadata text, byte for byte, and the chunks they hold.
#include <gmock/gmock.h>

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "platform/file.h"
#include "tests/support/source_fixture.h"
#include "tests/support/value_tests.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::minimal_database;
using test_support::received_packet;
using testing::AnyOf;
using testing::EndsWith;
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

class timestamp_test : public packets_test, public test_support::given_value<std::uint64_t> {};

TEST_GIVEN(timestamp_test, is_passed_on_unchanged) {
  queue_ip(1, "x", given());
  open_decoding("abc", conversion_database());
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.at(1).timestamp, given());
}

GIVEN(values, timestamp_test,
      {0, 1, 0xFFFFFFFF, 0x100000000, 0x7FFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF});

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

TEST_F(packets_test, non_ascii_paths_are_written_as_utf8) {
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

// --- "chunk_size" --------------------------------------------------------------------

class chunk_size_test : public test_support::source_fixture {
 protected:
  std::vector<std::uint32_t> sizes() const {
    std::vector<std::uint32_t> result;
    for (const auto& packet : session.packets) result.push_back(packet.data_size);
    return result;
  }
};

TEST_F(chunk_size_test, is_1024_when_nothing_is_said) {
  open({{"file_path", write_trace_of(2500)}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(sizes(), (std::vector<std::uint32_t>{1024, 1024, 452}));
}

// Value, size of the file, size of the first read.
struct accepted_size {
  const char* value;
  std::size_t file_size;
  std::uint32_t first_read;
};

void PrintTo(const accepted_size& value, std::ostream* out) {
  *out << value.value;
}

class accepted_chunk_size_test : public chunk_size_test,
                                 public test_support::given_value<accepted_size> {};

TEST_GIVEN(accepted_chunk_size_test, gives_the_reads) {
  const auto& [value, file_size, first_read] = given();
  open({{"file_path", write_trace_of(file_size)}, {"chunk_size", json::parse(value)}});
  EXPECT_EQ(session.start(), 0);
  ASSERT_FALSE(session.packets.empty());
  EXPECT_EQ(session.packets.front().data_size, first_read);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(file_size));
}

GIVEN(values, accepted_chunk_size_test,
      {accepted_size{"1", 5, 1}, accepted_size{"100", 250, 100}, accepted_size{"100.9", 250, 100},
       accepted_size{"100.0", 250, 100}, accepted_size{"1.999", 3, 1},
       accepted_size{"1e2", 250, 100}, accepted_size{"4096", 5000, 4096},
       accepted_size{"1500000", 4000000, 1500000}, accepted_size{"2097152", 4000000, 2097152},
       // larger than the file, without so much memory being taken
       accepted_size{"1000000", 5000, 5000}, accepted_size{"4294967296", 5000, 5000},
       accepted_size{"4294967297", 5000, 5000}, accepted_size{"1000000000000", 5000, 5000},
       accepted_size{"9223372036854775807", 5000, 5000},
       accepted_size{"9223372036854775808", 5000, 5000},
       accepted_size{"18446744073709551615", 5000, 5000},
       // a signed number is taken as the unsigned one of the same bits
       accepted_size{"-1", 5000, 5000}, accepted_size{"-1024", 5000, 5000},
       accepted_size{"-1.5", 5000, 5000},
       // beyond what an unsigned 64-bit number holds
       accepted_size{"18446744073709551616", 5000, 5000}, accepted_size{"1e19", 5000, 5000},
       accepted_size{"1e300", 5000, 5000}});

class refused_chunk_size_test : public chunk_size_test,
                                public test_support::given_value<const char*> {};

TEST_GIVEN(refused_chunk_size_test, must_be_at_least_1) {
  EXPECT_EQ(init_failure({{"file_path", write_trace("x")}, {"chunk_size", json::parse(given())}}),
            "chunk_size must be at least 1");
}

GIVEN(values, refused_chunk_size_test, {"0", "0.0", "0.9", "-0", "-0.5", "1e-300"});

struct typed_value {
  const char* value;
  const char* type_name;
};

void PrintTo(const typed_value& value, std::ostream* out) {
  *out << value.value;
}

class chunk_size_type_test : public chunk_size_test,
                             public test_support::given_value<typed_value> {};

TEST_GIVEN(chunk_size_type_test, must_be_a_number) {
  EXPECT_THAT(
      init_failure({{"file_path", write_trace("x")}, {"chunk_size", json::parse(given().value)}}),
      EndsWith(std::string("type must be number, but is ") + given().type_name));
}

GIVEN(values, chunk_size_type_test,
      {typed_value{"true", "boolean"}, typed_value{"false", "boolean"},
       typed_value{"\"1024\"", "string"}, typed_value{"null", "null"}, typed_value{"{}", "object"},
       typed_value{"[1024]", "array"}});

// --- files of all sizes ------------------------------------------------------------------

class file_size_test : public chunk_size_test,
                       public test_support::given_value<std::tuple<std::size_t, std::size_t>> {};

TEST_GIVEN(file_size_test, comes_through_whole_in_full_chunks) {
  const auto [file_size, chunk_size] = given();
  open({{"file_path", write_trace_of(file_size)}, {"chunk_size", chunk_size}});
  EXPECT_EQ(session.start(), 0);
  std::vector<std::uint32_t> expected(file_size / chunk_size,
                                      static_cast<std::uint32_t>(chunk_size));
  if (file_size % chunk_size != 0) {
    expected.push_back(static_cast<std::uint32_t>(file_size % chunk_size));
  }
  EXPECT_EQ(sizes(), expected);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(file_size));
}

GIVEN(sizes, file_size_test,
      test_support::every_pair<std::size_t, std::size_t>({0, 1, 2, 1023, 1024, 1025, 2048, 3000},
                                                         {1, 7, 1023, 1024, 2048, 65536}));

TEST_F(chunk_size_test, is_the_same_with_a_decoder) {
  open({{"file_path", write_trace_of(2500)},
        {"db_file_path", write_database(test_support::minimal_database())},
        {"chunk_size", 1000}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(sizes(), (std::vector<std::uint32_t>{1000, 1000, 500}));
  EXPECT_EQ(decoder.appended(), test_support::varied_bytes(2500));
}

}  // namespace
