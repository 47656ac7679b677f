#include "host/output/tls_key_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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

  // The key log of the whole script.
  std::string log_of(std::string_view script) {
    log_ = {};
    play(script);
    EXPECT_GE(log_.pending(), tls_key_log(log_).take().size());
    return log_.take_rest();
  }

  tls_key_log log_;
};

TEST_F(tls_key_log_test, nothing_gives_an_empty_text) {
  EXPECT_THAT(log_of(""), IsEmpty());
  EXPECT_EQ(log_.unused_masters(), 0U);
  EXPECT_EQ(log_.lone_handshakes(), 0U);
  EXPECT_EQ(log_.refused(), 0U);
}

TEST_F(tls_key_log_test, a_handshake_and_its_master_give_a_line_for_each_half) {
  EXPECT_EQ(log_of("r1m5"), lines('1', '5'));
  EXPECT_EQ(log_.unused_masters(), 0U);
}

TEST_F(tls_key_log_test, sessions_one_after_the_other_keep_their_masters) {
  EXPECT_EQ(log_of("r1m5r2m6r3m7"), lines('1', '5') + lines('2', '6') + lines('3', '7'));
}

TEST_F(tls_key_log_test, interleaved_handshakes_are_paired_in_order) {
  EXPECT_EQ(log_of("r1r2m5m6"), lines('1', '5') + lines('2', '6'));
  EXPECT_EQ(log_of("r1r2m5r3m6m7"), lines('1', '6') + lines('2', '5') + lines('3', '7'));
}

TEST_F(tls_key_log_test, a_handshake_that_was_broken_off_does_not_shift_the_others) {
  // The first gets the nearest master, which fits nothing and harms nothing.
  EXPECT_EQ(log_of("r1r2m5r3m6"), lines('1', '5') + lines('2', '5') + lines('3', '6'));
}

TEST_F(tls_key_log_test, a_master_before_its_handshake_is_used) {
  EXPECT_EQ(log_of("m5r1"), lines('1', '5'));
  EXPECT_EQ(log_.unused_masters(), 0U);
}

TEST_F(tls_key_log_test, a_resumed_session_uses_the_last_master) {
  EXPECT_EQ(log_of("r1m5r2"), lines('1', '5') + lines('2', '5'));
}

TEST_F(tls_key_log_test, a_resumed_session_that_traces_its_master_again_is_paired) {
  EXPECT_EQ(log_of("r1m5r2m5r3m6"), lines('1', '5') + lines('2', '5') + lines('3', '6'));
}

TEST_F(tls_key_log_test, repeated_traces_change_nothing) {
  EXPECT_EQ(log_of("r1r1m5m5r1m5r2m6"), lines('1', '5') + lines('2', '6'));
}

TEST_F(tls_key_log_test, equal_halves_give_one_line) {
  const std::vector<std::uint8_t> same(64, 0xab);
  EXPECT_TRUE(log_.add_randbytes(same));
  play("m5");
  EXPECT_EQ(log_.take(), "CLIENT_RANDOM " + repeated("ab", 32) + " " + std::string(96, '5') + "\n");
}

// --- what gives no line -------------------------------------------------------------------------

TEST_F(tls_key_log_test, masters_without_a_handshake_are_comments_and_counted) {
  EXPECT_EQ(log_of("m5"), "# session_master without a handshake: " + std::string(96, '5') + "\n");
  EXPECT_EQ(log_.unused_masters(), 1U);
  EXPECT_EQ(log_of("m5r1m6m7"),
            lines('1', '6') + "# session_master without a handshake: " + std::string(96, '5') +
                "\n" + "# session_master without a handshake: " + std::string(96, '7') + "\n");
  EXPECT_EQ(log_.unused_masters(), 2U);
}

TEST_F(tls_key_log_test, handshakes_without_any_master_are_comments_and_counted) {
  EXPECT_EQ(log_of("r1r2"), "# handshake_randbytes without a master secret: " + repeated("10", 32) +
                                repeated("11", 32) + "\n" +
                                "# handshake_randbytes without a master secret: " +
                                repeated("20", 32) + repeated("21", 32) + "\n");
  EXPECT_EQ(log_.lone_handshakes(), 2U);
}

TEST_F(tls_key_log_test, material_of_another_size_is_a_comment_and_changes_nothing) {
  for (const std::size_t size : {0U, 1U, 47U, 48U, 63U, 65U, 128U}) {
    EXPECT_FALSE(log_.add_randbytes(std::vector<std::uint8_t>(size, 0xcd))) << size;
    EXPECT_EQ(log_.take(), "# handshake_randbytes of a wrong size: " +
                               repeated("cd", static_cast<int>(size)) + "\n");
  }
  for (const std::size_t size : {0U, 32U, 47U, 49U, 64U, 96U}) {
    EXPECT_FALSE(log_.add_session_master(std::vector<std::uint8_t>(size, 0xcd))) << size;
    EXPECT_EQ(log_.pending(), 35U + 2 * size);
    EXPECT_EQ(log_.take(),
              "# session_master of a wrong size: " + repeated("cd", static_cast<int>(size)) + "\n");
  }
  EXPECT_EQ(log_.refused(), 13U);
  play("r1m5");
  EXPECT_EQ(log_.take_rest(), lines('1', '5'));
}

// --- taken bit by bit ---------------------------------------------------------------------------

TEST_F(tls_key_log_test, what_was_taken_does_not_come_again) {
  play("r1");
  EXPECT_EQ(log_.take(), "");
  play("m5");
  EXPECT_EQ(log_.pending(), lines('1', '5').size());
  EXPECT_EQ(log_.take(), lines('1', '5'));
  EXPECT_EQ(log_.pending(), 0U);
  EXPECT_EQ(log_.take(), "");
  play("r2m6");
  EXPECT_EQ(log_.take(), lines('2', '6'));
  EXPECT_EQ(log_.take_rest(), "");
}

TEST_F(tls_key_log_test, a_handshake_that_gets_another_master_comes_again) {
  play("r1r2m5");
  EXPECT_EQ(log_.take(), lines('1', '5') + lines('2', '5'));
  play("m6");
  EXPECT_EQ(log_.take(), lines('2', '6')) << "two in a row: in the order of the handshakes";
  play("r3");
  EXPECT_EQ(log_.take(), lines('3', '6')) << "it may be a resumed session";
  play("m7");
  EXPECT_EQ(log_.take_rest(), lines('3', '7'));
}

TEST_F(tls_key_log_test, traces_are_known_again_after_they_were_taken) {
  play("r1m5");
  log_.take();
  play("r1m5r2m6r1m5");
  EXPECT_EQ(log_.take_rest(), lines('2', '6'));
}

// --- long traces --------------------------------------------------------------------------------

// A different handshake or master for each number.
template <std::size_t size>
std::array<std::uint8_t, size> numbered(std::size_t number) {
  std::array<std::uint8_t, size> bytes{};
  for (std::size_t i = 0; i < sizeof number; ++i) {
    bytes[i] = bytes[size - 1 - i] = static_cast<std::uint8_t>(number >> 8 * i & 0xff);
  }
  return bytes;
}

TEST_F(tls_key_log_test, handshakes_that_never_get_a_master_are_given_up) {
  for (std::size_t i = 0; i < 1000; ++i) log_.add_randbytes(numbered<64>(i));
  EXPECT_EQ(log_.lone_handshakes(), 1000 - tls_key_log::most_waiting);
  const std::string text = log_.take();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1000 - 16);
  log_.take_rest();
  EXPECT_EQ(log_.lone_handshakes(), 1000U);
}

TEST_F(tls_key_log_test, masters_that_never_get_a_handshake_are_given_up) {
  for (std::size_t i = 0; i < 1000; ++i) log_.add_session_master(numbered<48>(i));
  EXPECT_EQ(log_.unused_masters(), 1000 - tls_key_log::most_waiting);
  log_.take_rest();
  EXPECT_EQ(log_.unused_masters(), 1000U);
}

TEST_F(tls_key_log_test, a_broken_off_handshake_gets_no_master_of_a_much_later_one) {
  play("r1");
  for (std::size_t i = 0; i < 100; ++i) {
    log_.add_randbytes(numbered<64>(i));
    log_.add_session_master(numbered<48>(i));
  }
  log_.take();
  // Handshakes that were broken off push it out.
  for (std::size_t i = 100; i < 100 + tls_key_log::most_waiting; ++i) {
    log_.add_randbytes(numbered<64>(i));
  }
  log_.take();
  play("r2m5m6");
  EXPECT_EQ(log_.take().find(repeated("10", 32)), std::string::npos);
}

TEST_F(tls_key_log_test, many_sessions_need_no_more_memory_than_few) {
  std::size_t most = 0;
  for (std::size_t i = 0; i < 10'000; ++i) {
    log_.add_randbytes(numbered<64>(i));
    log_.add_session_master(numbered<48>(i));
    most = std::max(most, log_.take().size());
    ASSERT_EQ(log_.pending(), 0U);
  }
  EXPECT_EQ(most, lines('1', '5').size());
}

}  // namespace
}  // namespace veltra::host
