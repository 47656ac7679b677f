#include "host/simulate/trace_builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "host/simulate/frame_encoder.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using namespace std::string_literals;

std::string trace(const std::string& layer, const std::string& payload) {
  peer_buffer_table table;
  return build_trace({0, layer, payload, 7}, table, "s.tsv");
}

std::string at(const std::string& text) {
  return trace("at", text);
}

// A dump is: trace id, peer layer, buffer id as text, NUL, body.

TEST(trace_builder, an_ip_packet_is_a_dump_of_the_user_plane_buffer) {
  EXPECT_EQ(trace("ip", "E\0\x7E"s), "\x00\x01\x04"s + "1000001\0E\0\x7E"s);
}

TEST(trace_builder, tls_secrets_are_dumps_of_their_buffers) {
  EXPECT_EQ(trace("handshake_randbytes", "r\0"s), "\x00\x01\x05"s + "1000002\0r\0"s);
  EXPECT_EQ(trace("session_master", "m\0"s), "\x00\x01\x05"s + "1000003\0m\0"s);
}

TEST(trace_builder, an_empty_payload_is_an_empty_body) {
  EXPECT_EQ(trace("ip", ""), "\x00\x01\x04"s + "1000001\0"s);
  EXPECT_EQ(trace("nas-eps", ""), "\x02\x02\x03"s + "201\0"s);
  EXPECT_EQ(trace("at", ""), "\x00\x02\x01"s + "102\0\0"s);
}

TEST(trace_builder, a_nas_message_is_a_peer_dump_of_the_nas_layer) {
  EXPECT_EQ(trace("nas-eps", "\x07\x55\x03"), "\x02\x02\x03"s + "201\0\x07\x55\x03"s);
}

TEST(trace_builder, an_rrc_message_is_a_peer_dump_of_its_channels_buffer) {
  EXPECT_EQ(trace("lte_rrc.bcch_bch", "\xA9"), "\x01\x02\x02"s + "202\0\xA9"s);
  EXPECT_EQ(trace("lte_rrc.mcch.nb", "\xA9"), "\x01\x02\x02"s + "218\0\xA9"s);
  EXPECT_EQ(trace("lte_rrc.DL_DCCH.Message", "\xA9"), "\x01\x02\x02"s + "219\0\xA9"s);
}

TEST(trace_builder, an_at_command_loses_the_prefix_that_decoding_puts_back) {
  EXPECT_EQ(at("AT+CFUN=1\r\n"), "\x00\x02\x01"s + "101\0+CFUN=1\r\n\0"s);
  EXPECT_EQ(at("AT"), "\x00\x02\x01"s + "101\0\0"s);
  EXPECT_EQ(at("AT?x"), "\x00\x02\x01"s + "101\0?x\0"s);
}

TEST(trace_builder, an_at_read_command_is_a_formatted_trace) {
  EXPECT_EQ(at("AT+CGDCONT?\r\n"), "\x00\x03+CGDCONT?\r\n\0"s);
  EXPECT_EQ(at("AT+CEREG=?"), "\x00\x03+CEREG=?\0"s);
  EXPECT_EQ(at("AT?\r"), "\x00\x03?\r\0"s);
}

TEST(trace_builder, an_information_answer_is_a_formatted_trace) {
  EXPECT_EQ(at("+CEREG: 1,7\r\n"), "\x01\x03+CEREG: 1,7\r\n\0"s);
  EXPECT_EQ(at("+"), "\x01\x03+\0"s);
}

TEST(trace_builder, any_other_answer_is_a_peer_dump) {
  EXPECT_EQ(at("OK\r\n"), "\x00\x02\x01"s + "102\0OK\r\n\0"s);
  EXPECT_EQ(at("at+cfun?\r"), "\x00\x02\x01"s + "102\0at+cfun?\r\0"s);
  EXPECT_EQ(at("A"), "\x00\x02\x01"s + "102\0A\0"s);
  EXPECT_EQ(at("\r\n+CREG: 1\r\n"), "\x00\x02\x01"s + "102\0\r\n+CREG: 1\r\n\0"s);
}

// Behind its trace id, a formatted trace's text is read as peer layer and buffer
// id as well: it must not name the buffer of another kind of packet.
TEST(trace_builder, an_at_text_that_reads_as_a_buffer_id_is_a_peer_dump) {
  for (const std::string rest :
       {"x1000001?", "x 1000001?", "x\t+1000001?", "x-3294967295?", "x0?", "x\v\f\r\n1?"}) {
    EXPECT_EQ(at("AT" + rest), "\x00\x02\x01"s + "101\0"s + rest + "\0"s) << rest;
  }
  for (const std::string answer : {"+1000001", "+ 1000001\r\n", "++1000001", "+-1"}) {
    EXPECT_EQ(at(answer), "\x00\x02\x01"s + "102\0"s + answer + "\0"s) << answer;
  }
  EXPECT_EQ(at("AT+-x1?"), "\x00\x03+-x1?\0"s);
}

TEST(trace_builder, a_dropped_traces_text_is_a_system_warning) {
  EXPECT_EQ(at("Dropped traces count: 7"), "\xFF\x0F\x03\0\0\0\x04\0\0\0"s);
  EXPECT_EQ(at("Dropped traces count: 0"), "\xFF\x0F\0\0\0\0\0\0\0\0"s);
  EXPECT_EQ(at("Dropped traces count: 4294967295"), "\xFF\x0F\xFF\xFF\xFF\x7F\0\0\0\x80"s);
}

TEST(trace_builder, a_text_that_no_system_warning_gives_is_an_ordinary_answer) {
  for (const std::string text : {"Dropped traces count: ", "Dropped traces count: 07",
                                 "Dropped traces count: 7\r\n", "Dropped traces count: -1",
                                 "Dropped traces count: 4294967296", "dropped traces count: 7"}) {
    EXPECT_EQ(at(text), "\x00\x02\x01"s + "102\0"s + text + "\0"s) << text;
  }
}

TEST(trace_builder, an_at_text_with_a_nul_is_refused) {
  EXPECT_THAT(refusal_of([] { at("OK\0"s); }),
              StartsWith("s.tsv, line 7: the AT text contains a NUL"));
}

TEST(trace_builder, an_unknown_layer_is_refused_with_a_list_of_the_known_ones) {
  for (const char* layer : {"wifi", "lte_rrc.a_b_c", "lte_rrc.", "IP", "at "}) {
    const std::string text = refusal_of([&] { trace(layer, "x"); });
    EXPECT_THAT(text, StartsWith("s.tsv, line 7: no trace can carry the layer \""s + layer + "\""));
    for (const char* known : {"ip", "at", "nas-eps", "handshake_randbytes", "session_master",
                              "lte_rrc.", "bcch_dl_sch_br", ".nb"}) {
      EXPECT_THAT(text, HasSubstr(known)) << layer;
    }
  }
}

TEST(trace_builder, the_largest_payload_fits_and_one_byte_more_is_refused) {
  const std::size_t overhead = trace("ip", "").size();
  EXPECT_EQ(trace("ip", std::string(max_trace_size - overhead, 'x')).size(), max_trace_size);
  const std::string text =
      refusal_of([&] { trace("ip", std::string(max_trace_size - overhead + 1, 'x')); });
  EXPECT_THAT(text, StartsWith("s.tsv, line 7: the payload of 131041 bytes is too large"));
}

TEST(trace_builder, the_database_uid_trace_is_marker_nul_uuid_and_room_behind_it) {
  const std::string uuid = "01234567-89ab-8cde-8f01-23456789abcd";
  EXPECT_EQ(build_database_uid_trace(uuid), "\x10\0UID %s\0"s + uuid + "\0\0\0"s);
}

}  // namespace
}  // namespace veltra::host
