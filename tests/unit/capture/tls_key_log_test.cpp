#include "host/capture/tls_key_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace veltra::host {
namespace {

using testing::IsEmpty;

// Random bytes whose halves are all of the digits c0 and c1, and a master
// secret of one digit, in hexadecimal.
std::vector<std::uint8_t> randoms(char c) {
  const auto digit = static_cast<std::uint8_t>(c - '0');
  std::vector<std::uint8_t> bytes(32, static_cast<std::uint8_t>(digit << 4));
  bytes.resize(64, static_cast<std::uint8_t>(digit << 4 | 1));
  return bytes;
}
std::vector<std::uint8_t> master(char c) {
  return std::vector<std::uint8_t>(48, static_cast<std::uint8_t>((c - '0') * 0x11));
}

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// The two lines of one handshake.
std::string lines(char handshake, char secret) {
  const std::string end = " " + std::string(96, secret) + "\n";
  return "CLIENT_RANDOM " + repeated(std::string{handshake, '0'}, 32) + end +  //
         "CLIENT_RANDOM " + repeated(std::string{handshake, '1'}, 32) + end;
}

class tls_key_log_test : public testing::Test {
 protected:
  // "r1m5" is handshake 1 followed by master 5.
  void play(std::string_view script) {
    for (std::size_t i = 0; i < script.size(); i += 2) {
      const char c = script[i + 1];
      EXPECT_TRUE(script[i] == 'r' ? log_.add_randbytes(randoms(c))
                                   : log_.add_session_master(master(c)));
    }
  }

  tls_key_log log_;
};

TEST_F(tls_key_log_test, nothing_gives_an_empty_text) {
  EXPECT_THAT(log_.text(), IsEmpty());
  EXPECT_EQ(log_.masters(), 0U);
  EXPECT_EQ(log_.unused_masters(), 0U);
}

TEST_F(tls_key_log_test, a_handshake_and_its_master_give_a_line_for_each_half) {
  play("r1m5");
  EXPECT_EQ(log_.text(), lines('1', '5'));
  EXPECT_EQ(log_.unused_masters(), 0U);
}

TEST_F(tls_key_log_test, sessions_one_after_the_other_keep_their_masters) {
  play("r1m5r2m6r3m7");
  EXPECT_EQ(log_.text(), lines('1', '5') + lines('2', '6') + lines('3', '7'));
}

TEST_F(tls_key_log_test, interleaved_handshakes_are_paired_in_order) {
  play("r1r2m5m6");
  EXPECT_EQ(log_.text(), lines('1', '5') + lines('2', '6'));
}

TEST_F(tls_key_log_test, a_handshake_that_was_broken_off_does_not_shift_the_others) {
  play("r1r2m5r3m6");
  // The first gets the nearest master, which fits nothing and harms nothing.
  EXPECT_EQ(log_.text(), lines('1', '5') + lines('2', '5') + lines('3', '6'));
}

TEST_F(tls_key_log_test, a_master_before_its_handshake_is_used) {
  play("m5r1");
  EXPECT_EQ(log_.text(), lines('1', '5'));
  EXPECT_EQ(log_.unused_masters(), 0U);
}

TEST_F(tls_key_log_test, a_resumed_session_uses_the_last_master) {
  play("r1m5r2");
  EXPECT_EQ(log_.text(), lines('1', '5') + lines('2', '5'));
}

TEST_F(tls_key_log_test, a_resumed_session_that_traces_its_master_again_is_paired) {
  play("r1m5r2m5r3m6");
  EXPECT_EQ(log_.text(), lines('1', '5') + lines('2', '5') + lines('3', '6'));
  EXPECT_EQ(log_.masters(), 2U);
}

TEST_F(tls_key_log_test, repeated_traces_change_nothing) {
  play("r1r1m5m5r1m5r2m6");
  EXPECT_EQ(log_.text(), lines('1', '5') + lines('2', '6'));
}

TEST_F(tls_key_log_test, masters_without_a_handshake_are_counted) {
  play("m5");
  EXPECT_THAT(log_.text(), IsEmpty());
  EXPECT_EQ(log_.unused_masters(), 1U);
  play("r1m6m7");
  EXPECT_EQ(log_.masters(), 3U);
  EXPECT_EQ(log_.unused_masters(), 2U);
}

TEST_F(tls_key_log_test, a_handshake_without_any_master_gives_no_line) {
  play("r1r2");
  EXPECT_THAT(log_.text(), IsEmpty());
}

TEST_F(tls_key_log_test, equal_halves_give_one_line) {
  const std::vector<std::uint8_t> same(64, 0xab);
  EXPECT_TRUE(log_.add_randbytes(same));
  play("m5");
  EXPECT_EQ(log_.text(), "CLIENT_RANDOM " + repeated("ab", 32) + " " + std::string(96, '5') + "\n");
}

TEST_F(tls_key_log_test, material_of_another_size_is_refused_and_changes_nothing) {
  for (const std::size_t size : {0U, 1U, 47U, 48U, 63U, 65U, 128U}) {
    EXPECT_FALSE(log_.add_randbytes(std::vector<std::uint8_t>(size))) << size;
  }
  for (const std::size_t size : {0U, 32U, 47U, 49U, 64U, 96U}) {
    EXPECT_FALSE(log_.add_session_master(std::vector<std::uint8_t>(size))) << size;
  }
  EXPECT_EQ(log_.masters(), 0U);
  play("r1m5");
  EXPECT_EQ(log_.text(), lines('1', '5'));
}

}  // namespace
}  // namespace veltra::host
