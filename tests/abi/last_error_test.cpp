// The last error of an instance: what start and stop leave behind.
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/support/source_fixture.h"

namespace {

using test_support::plugin;
using test_support::received_packet;
using test_support::reported_error;

class last_error_test : public test_support::source_fixture {
 protected:
  // A hook that fails once.
  auto fail_once(const std::string& text) {
    return [this, text](const received_packet&) {
      session.on_packet = nullptr;
      throw std::runtime_error(text);
    };
  }
};

TEST_F(last_error_test, is_empty_with_code_0_after_init) {
  open_trace("x");
  EXPECT_EQ(session.last_error(), (reported_error{"", 0}));
}

TEST_F(last_error_test, is_empty_after_a_good_run) {
  open_trace("x");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.last_error(), (reported_error{"", 0}));
}

TEST_F(last_error_test, is_the_text_of_what_a_packet_callback_throws) {
  open_trace("x");
  session.on_packet = fail_once("the disk is full");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"the disk is full", 100}));
}

TEST_F(last_error_test, code_is_100_for_an_exception_with_a_code_of_its_own_kind) {
  open_trace("x");
  session.on_packet = [](const received_packet&) {
    throw std::system_error(22, std::generic_category(), "write");
  };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error().code, 100);
}

TEST_F(last_error_test, says_unknown_error_for_anything_that_is_no_exception) {
  open_trace("x");
  session.on_packet = [](const received_packet&) { throw 42; };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"unknown error", 100}));
}

TEST_F(last_error_test, may_be_an_empty_text_with_code_100) {
  open_trace("x");
  session.on_packet = fail_once("");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"", 100}));
}

TEST_F(last_error_test, keeps_a_long_text_whole) {
  const std::string text(100000, 'e');
  open_trace("x");
  session.on_packet = fail_once(text);
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{text, 100}));
}

TEST_F(last_error_test, is_not_cleared_by_a_good_start) {
  open_trace("x");
  session.on_packet = fail_once("first");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.last_error(), (reported_error{"first", 100}));
}

TEST_F(last_error_test, is_not_cleared_by_a_good_stop) {
  open_trace("x");
  session.on_packet = fail_once("first");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.last_error(), (reported_error{"first", 100}));
}

TEST_F(last_error_test, is_replaced_by_the_next_failure) {
  open({{"file_path", write_trace_of(2000)}});
  session.on_packet = fail_once("first");
  EXPECT_EQ(session.start(), 100);
  session.on_packet = fail_once("second");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"second", 100}));
}

TEST_F(last_error_test, is_left_by_a_failing_stop_too) {
  open_trace("x");
  session.on_log = [](const test_support::log_line&) { throw std::runtime_error("no log"); };
  EXPECT_EQ(session.stop(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"no log", 100}));
}

TEST_F(last_error_test, says_unknown_error_for_a_stop_that_fails_without_an_exception) {
  open_trace("x");
  session.on_log = [](const test_support::log_line&) { throw 42; };
  EXPECT_EQ(session.stop(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"unknown error", 100}));
}

TEST_F(last_error_test, belongs_to_one_instance) {
  open_trace("x");
  test_support::source_session other;
  ASSERT_EQ(other.init(kovax::json{{"file_path", write_trace("y")}}), 0);
  session.on_packet = fail_once("mine");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(other.last_error(), (reported_error{"", 0}));
}

TEST_F(last_error_test, is_given_once_with_the_callers_user_data) {
  open_trace("x");
  int calls = 0;
  plugin().get_last_error(session.handle(), &calls,
                          [](void* data, kovax_error_t) { ++*static_cast<int*>(data); });
  EXPECT_EQ(calls, 1);
}

TEST_F(last_error_test, swallows_what_its_callback_throws) {
  open_trace("x");
  EXPECT_NO_THROW(plugin().get_last_error(
      session.handle(), nullptr, [](void*, kovax_error_t) { throw std::runtime_error("no"); }));
  EXPECT_NO_THROW(
      plugin().get_last_error(session.handle(), nullptr, [](void*, kovax_error_t) { throw 5; }));
  EXPECT_EQ(session.last_error(), (reported_error{"", 0}));
}

TEST_F(last_error_test, can_be_read_from_within_a_run) {
  open({{"file_path", write_trace_of(2000)}});
  session.on_packet = fail_once("first");
  EXPECT_EQ(session.start(), 100);
  reported_error seen;
  session.on_packet = [&](const received_packet&) { seen = session.last_error(); };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(seen, (reported_error{"first", 100}));
}

}  // namespace
