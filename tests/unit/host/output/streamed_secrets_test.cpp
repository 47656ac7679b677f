#include "host/output/streamed_secrets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "host/output/pcapng_blocks.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/output/ip_packets.h"

namespace veltra::host {
namespace {

using namespace std::chrono_literals;

// What a reader has of a capture while it is written: K secrets, and a letter for
// each packet.
class streamed_secrets_test : public testing::Test {
 protected:
  void packet(char letter) {
    std::string block;
    pcapng::append_interface(block, pcapng::link_type_raw_ip, std::string(1, letter), "");
    blocks_.write(block);
  }

  void ip_packet(char letter, std::vector<std::uint8_t> payload) {
    blocks_.before_ip_packet(ipv4(tcp(std::move(payload))));
    packet(letter);
  }

  void randbytes(std::uint8_t number) {
    std::array<std::uint8_t, 64> bytes{number};
    key_log_.add_randbytes(bytes);
    blocks_.random_bytes_came();
  }

  void master(std::uint8_t number) {
    std::array<std::uint8_t, 48> bytes{number};
    key_log_.add_session_master(bytes);
    blocks_.master_came();
  }

  std::string read() {
    file_.flush();
    std::string text;
    for (const capture_block& block : read_blocks(content(part_))) {
      if (block.type == pcapng::decryption_secrets_type) {
        text += 'K';
        EXPECT_THAT(block.key_log(), testing::EndsWith("\n"));
      } else {
        text += block.options(8)[2];
      }
    }
    return text;
  }

  test_support::temp_directory directory_;
  output_file file_{directory_.path() / "out", output_file::access::sequential};
  const std::filesystem::path part_ = directory_.path() / names_in(directory_.path()).at(0);
  tls_key_log key_log_;
  std::chrono::steady_clock::time_point now_{};
  streamed_secrets blocks_{file_, key_log_, [this] { return now_; }};
};

TEST_F(streamed_secrets_test, packets_are_there_at_once) {
  packet('a');
  ip_packet('b', client_hello);
  EXPECT_EQ(read(), "ab");
  EXPECT_FALSE(blocks_.flush());
}

TEST_F(streamed_secrets_test, a_handshake_waits_for_its_secrets) {
  ip_packet('c', client_hello);
  ip_packet('s', server_hello);
  packet('a');
  ip_packet('k', {});
  EXPECT_EQ(read(), "c");
  EXPECT_TRUE(blocks_.flush());
  randbytes(1);
  EXPECT_EQ(read(), "c");
  master(2);
  EXPECT_EQ(read(), "cKsak");
  EXPECT_FALSE(blocks_.flush());
  packet('b');
  EXPECT_EQ(read(), "cKsakb");
}

TEST_F(streamed_secrets_test, two_handshakes_at_once_wait_for_both_secrets) {
  ip_packet('s', server_hello);
  ip_packet('t', server_hello);
  randbytes(1);
  master(1);
  EXPECT_EQ(read(), "K");
  randbytes(2);
  master(2);
  // Between them: a guess for a resumed session, which is not one.
  EXPECT_THAT(read(), testing::MatchesRegex("KK+st"));
}

TEST_F(streamed_secrets_test, a_handshake_without_secrets_waits_for_a_second) {
  ip_packet('s', server_hello);
  now_ += 999ms;
  packet('a');
  EXPECT_TRUE(blocks_.flush());
  EXPECT_EQ(read(), "");
  now_ += 1ms;
  EXPECT_FALSE(blocks_.flush());
  EXPECT_EQ(read(), "sa");
}

TEST_F(streamed_secrets_test, the_second_begins_with_the_first_handshake_that_waits) {
  ip_packet('s', server_hello);
  now_ += 600ms;
  ip_packet('t', server_hello);
  now_ += 400ms;
  EXPECT_FALSE(blocks_.flush());
  EXPECT_EQ(read(), "st");
  ip_packet('u', server_hello);
  now_ += 400ms;
  EXPECT_TRUE(blocks_.flush());
}

TEST_F(streamed_secrets_test, secrets_that_come_too_late_are_kept) {
  ip_packet('s', server_hello);
  now_ += 1s;
  blocks_.flush();
  randbytes(1);
  master(1);
  packet('a');
  EXPECT_EQ(read(), "sKa");
}

TEST_F(streamed_secrets_test, what_waits_is_not_more_than_fits_into_memory) {
  ip_packet('s', server_hello);
  const std::size_t size = [] {
    std::string block;
    pcapng::append_interface(block, pcapng::link_type_raw_ip, "x", "");
    return block.size();
  }();
  for (std::size_t held = 0; held <= streamed_secrets::most_held; held += size) packet('x');
  EXPECT_FALSE(blocks_.flush());
  EXPECT_EQ(read().substr(0, 3), "sxx");
}

TEST_F(streamed_secrets_test, the_end_writes_what_waits_behind_the_secrets_that_are_there) {
  ip_packet('s', server_hello);
  randbytes(1);
  blocks_.finish();
  EXPECT_EQ(read(), "Ks") << "a comment on a handshake without a master";
}

}  // namespace
}  // namespace veltra::host
