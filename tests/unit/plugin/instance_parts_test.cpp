// The parts of an instance that work alone: its file, its packets, its last error.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "implementation/json.h"
#include "platform/file.h"
#include "plugin/errors.h"
#include "plugin/packet_delivery.h"
#include "plugin/source_settings.h"
#include "plugin/trace_file.h"
#include "tests/support/temp_directory.h"

namespace {

using veltra::last_error;
using veltra::packet_delivery;
using veltra::packet_receiver;
using veltra::run_guarded;
using veltra::trace_file;

// --- the trace file ------------------------------------------------------------------

class trace_file_reading : public ::testing::Test {
 protected:
  void write(const std::string& bytes) {
    file.open(platform::path_to_utf8(directory.write("trace.bin", bytes)));
  }

  const test_support::temp_directory directory;
  trace_file file;
  std::string chunk;
};

TEST_F(trace_file_reading, an_empty_file_ends_with_the_first_read) {
  write("");
  EXPECT_EQ(file.size(), 0U);
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "");
}

TEST_F(trace_file_reading, the_last_chunk_is_shorter_and_meets_the_end) {
  write("abcdef");
  EXPECT_EQ(file.size(), 6U);
  EXPECT_FALSE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "abcd");
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "ef");
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "");
}

TEST_F(trace_file_reading, a_multiple_of_the_chunk_size_ends_with_a_read_of_nothing) {
  write("abcd");
  EXPECT_FALSE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "abcd");
  EXPECT_TRUE(file.read_chunk(4, chunk));
  EXPECT_EQ(chunk, "");
}

TEST_F(trace_file_reading, a_chunk_larger_than_one_step_is_read_whole) {
  std::string bytes((std::size_t{1} << 20) + 5, 'x');
  bytes.back() = 'y';
  write(bytes);
  EXPECT_FALSE(file.read_chunk(bytes.size(), chunk));
  EXPECT_EQ(chunk, bytes);
}

TEST_F(trace_file_reading, a_chunk_size_beyond_all_memory_reads_what_there_is) {
  write("abc");
  EXPECT_TRUE(file.read_chunk(UINT64_MAX, chunk));
  EXPECT_EQ(chunk, "abc");
}

TEST(trace_file_opening, a_file_that_cannot_be_opened_is_named) {
  trace_file file;
  try {
    file.open("/no such directory/trace.bin");
    ADD_FAILURE() << "opened";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "trace_file could not be opened at /no such directory/trace.bin");
  }
}

// --- the size of a read --------------------------------------------------------------

std::uint64_t file_chunk_size(std::uint64_t chunk_size) {
  veltra::source_settings settings;
  settings.chunk_size = chunk_size;
  return settings.file_chunk_size();
}

TEST(source_settings, the_chunk_of_a_file_is_1024_bytes_when_nothing_is_said) {
  EXPECT_EQ(veltra::source_settings().file_chunk_size(), 1024U);
}

TEST(source_settings, the_chunk_of_a_file_is_no_larger_than_a_packet_can_be) {
  EXPECT_EQ(file_chunk_size(1), 1U);
  EXPECT_EQ(file_chunk_size(4294967294), 4294967294U);
  EXPECT_EQ(file_chunk_size(4294967295), 4294967295U);
  EXPECT_EQ(file_chunk_size(4294967296), 4294967295U);
  EXPECT_EQ(file_chunk_size(UINT64_MAX), 4294967295U);
}

// --- packets -------------------------------------------------------------------------

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

TEST_F(delivery, an_empty_chunk_makes_no_packet_and_takes_no_number) {
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

// --- the last error ------------------------------------------------------------------

TEST(run_guarded, returns_0_when_the_body_returns) {
  last_error error;
  bool called = false;
  EXPECT_EQ(run_guarded(error, [&] { called = true; }), 0);
  EXPECT_TRUE(called);
  EXPECT_EQ(error.load()->message, "");
  EXPECT_EQ(error.load()->code, 0);
}

TEST(run_guarded, a_success_does_not_clear_the_last_error) {
  last_error error;
  run_guarded(error, [] { throw std::runtime_error("first"); });
  EXPECT_EQ(run_guarded(error, [] {}), 0);
  EXPECT_EQ(error.load()->message, "first");
  EXPECT_EQ(error.load()->code, 100);
}

TEST(run_guarded, keeps_the_code_of_a_veltra_exception) {
  last_error error;
  EXPECT_EQ(run_guarded(error, [] { throw veltra::veltra_exception(22, "no uid"); }), 22);
  EXPECT_EQ(error.load()->message, "no uid");
  EXPECT_EQ(error.load()->code, 22);
}

TEST(run_guarded, does_not_use_the_code_of_a_kovax_exception) {
  last_error error;
  EXPECT_EQ(run_guarded(error, [] { throw kovax::kovax_exception(1, "no variable"); }), 100);
  EXPECT_EQ(error.load()->message, "no variable");
  EXPECT_EQ(error.load()->code, 100);
}

TEST(run_guarded, anything_else_is_an_unknown_error) {
  last_error error;
  EXPECT_EQ(run_guarded(error, [] { throw 5; }), 100);
  EXPECT_EQ(error.load()->message, "unknown error");
  EXPECT_EQ(error.load()->code, 100);
}

TEST(run_guarded, an_empty_body_is_a_bad_function_call) {
  last_error error;
  EXPECT_EQ(run_guarded(error, std::function<void()>()), 100);
  EXPECT_EQ(error.load()->message, std::bad_function_call().what());
}

}  // namespace
