#include "host/output/block_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
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
// each packet. The limits are those of a stream unless begin() sets others.
class block_stream_test : public testing::Test {
 protected:
  block_stream_test() { begin(block_stream::for_stream); }

  void begin(block_stream::limits limits) { blocks_.emplace(file_, key_log_, limits); }

  static std::string block(const std::string& letters) {
    std::string block;
    pcapng::append_interface(block, pcapng::link_type_raw_ip, letters, "");
    return block;
  }

  void packet(char letter) { write(block(std::string(1, letter))); }

  void write(const std::string& blocks) {
    blocks_->write([&](std::string& to) { to += blocks; });
  }

  void ip_packet(char letter, std::vector<std::uint8_t> payload) {
    blocks_->before_ip_packet(ipv4(tcp(std::move(payload))));
    packet(letter);
  }

  void randbytes(std::uint8_t number) {
    std::array<std::uint8_t, 64> bytes{number};
    key_log_.add_randbytes(bytes);
    blocks_->random_bytes_came();
  }

  void master(std::uint8_t number) {
    std::array<std::uint8_t, 48> bytes{number};
    key_log_.add_session_master(bytes);
    blocks_->master_came();
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
  output_file file_{directory_.path() / "out"};
  const std::filesystem::path part_ = directory_.path() / names_in(directory_.path()).at(0);
  tls_key_log key_log_;
  block_stream::time_point now_{1h};
  std::optional<block_stream> blocks_;
};

TEST_F(block_stream_test, packets_are_there_at_once) {
  packet('a');
  ip_packet('b', client_hello);
  EXPECT_EQ(read(), "ab");
  EXPECT_FALSE(blocks_->flush(now_));
}

TEST_F(block_stream_test, a_handshake_waits_for_its_secrets) {
  ip_packet('c', client_hello);
  ip_packet('s', server_hello);
  packet('a');
  ip_packet('k', {});
  EXPECT_EQ(read(), "c");
  EXPECT_TRUE(blocks_->flush(now_));
  randbytes(1);
  EXPECT_EQ(read(), "c");
  master(2);
  EXPECT_EQ(read(), "cKsak");
  EXPECT_FALSE(blocks_->flush(now_));
  packet('b');
  EXPECT_EQ(read(), "cKsakb");
}

TEST_F(block_stream_test, two_handshakes_at_once_wait_for_both_secrets) {
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

TEST_F(block_stream_test, a_reader_of_a_stream_waits_for_secrets_for_a_second) {
  ip_packet('s', server_hello);
  EXPECT_TRUE(blocks_->flush(now_));
  packet('a');
  EXPECT_TRUE(blocks_->flush(now_ + 999ms));
  EXPECT_EQ(read(), "");
  EXPECT_FALSE(blocks_->flush(now_ + 1s));
  EXPECT_EQ(read(), "sa");
}

TEST_F(block_stream_test, a_file_of_a_live_run_waits_for_secrets_for_ten_seconds) {
  begin(block_stream::for_live_file);
  ip_packet('s', server_hello);
  EXPECT_TRUE(blocks_->flush(now_));
  EXPECT_TRUE(blocks_->flush(now_ + 9999ms));
  EXPECT_FALSE(blocks_->flush(now_ + 10s));
  EXPECT_EQ(read(), "s");
}

TEST_F(block_stream_test, a_file_waits_for_secrets_until_the_end) {
  begin(block_stream::for_file);
  ip_packet('s', server_hello);
  EXPECT_TRUE(blocks_->flush(now_));
  EXPECT_TRUE(blocks_->flush(now_ + 1000h));
  EXPECT_EQ(read(), "");
  blocks_->finish();
  EXPECT_EQ(read(), "s");
}

TEST_F(block_stream_test, the_time_begins_with_the_first_handshake_that_waits) {
  ip_packet('s', server_hello);
  blocks_->flush(now_);
  ip_packet('t', server_hello);
  blocks_->flush(now_ + 600ms);
  EXPECT_FALSE(blocks_->flush(now_ + 1s));
  EXPECT_EQ(read(), "st");
  ip_packet('u', server_hello);
  EXPECT_TRUE(blocks_->flush(now_ + 1s));
  EXPECT_TRUE(blocks_->flush(now_ + 1999ms));
}

TEST_F(block_stream_test, secrets_that_come_too_late_are_kept) {
  ip_packet('s', server_hello);
  blocks_->flush(now_);
  blocks_->flush(now_ + 1s);
  randbytes(1);
  master(1);
  packet('a');
  EXPECT_EQ(read(), "sKa");
}

TEST_F(block_stream_test, no_more_is_held_back_than_fits_into_memory) {
  for (const auto& limits :
       {block_stream::for_stream, block_stream::for_live_file, block_stream::for_file}) {
    begin(limits);
    const std::string large = block(std::string(60'000, 'x'));
    ip_packet('s', server_hello);
    const std::uint64_t before = file_.size();
    std::size_t held = block("s").size();
    for (; held + large.size() <= limits.max_held; held += large.size()) write(large);
    EXPECT_TRUE(blocks_->flush(now_));
    EXPECT_EQ(file_.size(), before);
    write(large);
    EXPECT_FALSE(blocks_->flush(now_));
    EXPECT_EQ(file_.size(), before + held + large.size());
  }
}

TEST_F(block_stream_test, the_end_writes_the_rest_of_the_key_log_and_what_was_held_back) {
  ip_packet('s', server_hello);
  randbytes(1);
  blocks_->finish();
  EXPECT_EQ(read(), "Ks") << "a comment on a handshake without a master";
}

// For a run whose IP packets are not traced.
TEST_F(block_stream_test, secrets_without_a_handshake_are_written_at_once) {
  randbytes(1);
  master(1);
  EXPECT_EQ(read(), "K");
  blocks_->finish();
  EXPECT_EQ(read(), "K") << "and nothing is added";
}

// Later ones than the first, too: the capture is in order however many there are.
TEST_F(block_stream_test, each_session_has_its_secrets_in_front_however_many_there_are) {
  begin(block_stream::for_file);
  std::string expected;
  for (std::uint8_t i = 0; i < 100; ++i) {
    ip_packet('s', server_hello);
    randbytes(i);
    master(i);
    expected += "K+s";
  }
  EXPECT_THAT(read(), testing::MatchesRegex(expected));
}

}  // namespace
}  // namespace veltra::host
