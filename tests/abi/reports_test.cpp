// What a host can learn: the last error of an instance, and the log.
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/support/source_fixture.h"

namespace {

using kovax::json;
using test_support::log_line;
using test_support::plugin;
using test_support::received_packet;
using test_support::reported_error;
using testing::ElementsAre;
using testing::IsEmpty;

// --- the last error ------------------------------------------------------------------

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

TEST_F(last_error_test, says_unknown_error_for_anything_that_is_not_an_exception) {
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

// --- the log -------------------------------------------------------------------------

class log_test : public test_support::source_fixture {
 protected:
  void throw_at(const std::string& text) {
    session.on_log = [text](const log_line& line) {
      if (line.text == text) throw std::runtime_error("thrown at: " + text);
    };
  }
};

TEST_F(log_test, a_run_over_a_file_logs_nothing) {
  open({{"file_path", write_trace_of(5000)}});
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, IsEmpty());
}

TEST_F(log_test, a_run_with_a_database_logs_only_its_name_at_init) {
  open_decoding(test_support::varied_bytes(5000));
  EXPECT_EQ(session.start(), 0);
  EXPECT_THAT(session.logs, ElementsAre(log_line{nullptr, 2, "processed config json: MCU"}));
}

TEST_F(log_test, the_name_of_a_database_is_logged_without_a_handle) {
  auto database = test_support::minimal_database();
  database["meta"]["name"] = "M4";
  open_decoding("", database);
  EXPECT_THAT(session.logs, ElementsAre(log_line{nullptr, 2, "processed config json: M4"}));
}

TEST_F(log_test, a_non_ascii_name_is_logged_as_utf8) {
  auto database = test_support::minimal_database();
  database["meta"]["name"] = "Kern \xC3\xA4\xE2\x82\xAC {} %s";
  init_failure({{"file_path", write_trace("")}, {"db_file_path", write_database(database)}});
  EXPECT_THAT(session.log_texts(),
              ElementsAre("processed config json: Kern \xC3\xA4\xE2\x82\xAC {} %s"));
}

TEST_F(log_test, a_refused_database_is_not_logged) {
  database_failure(json::object());
  EXPECT_THAT(session.logs, IsEmpty());
}

TEST_F(log_test, a_serial_port_start_logs_open_port_first) {
  open({{"serialport", {{"path", "/nowhere/veltra-tty"}}}});
  session.logs.clear();
  EXPECT_NE(session.start(), 0);
  ASSERT_FALSE(session.logs.empty());
  EXPECT_EQ(session.logs.front(), (log_line{session.handle(), 2, "open port"}));
}

// --- log functions that throw ------------------------------------------------------------

TEST_F(log_test, a_throw_while_a_database_is_read_refuses_the_database) {
  throw_at("processed config json: MCU");
  EXPECT_EQ(database_failure(test_support::minimal_database()),
            "Trace database has missing fields or is invalid");
}

TEST_F(log_test, a_thrown_number_while_a_database_is_read_refuses_the_database) {
  session.on_log = [](const log_line&) { throw 5; };
  EXPECT_EQ(database_failure(test_support::minimal_database()),
            "Trace database has missing fields or is invalid");
}

TEST_F(log_test, a_throw_while_a_serial_port_is_named_fails_init_with_its_text) {
  throw_at("Using serial port /nowhere/veltra-tty for tracing");
  EXPECT_EQ(init_failure({{"serialport", {{"path", "/nowhere/veltra-tty"}}}}),
            "thrown at: Using serial port /nowhere/veltra-tty for tracing");
}

TEST_F(log_test, a_thrown_number_in_init_is_an_unknown_error) {
  session.on_log = [](const log_line&) { throw 5; };
  EXPECT_EQ(init_failure({{"serialport", {{"path", "/nowhere/veltra-tty"}}}}),
            "unknown error from veltra plugin");
}

TEST_F(log_test, a_throw_in_start_fails_it_with_its_text) {
  open({{"serialport", {{"path", "/nowhere/veltra-tty"}}}});
  throw_at("open port");
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"thrown at: open port", 100}));
}

TEST_F(log_test, a_thrown_number_in_start_is_an_unknown_error) {
  open({{"serialport", {{"path", "/nowhere/veltra-tty"}}}});
  session.on_log = [](const log_line&) { throw 5; };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.last_error(), (reported_error{"unknown error", 100}));
}

TEST_F(log_test, a_throw_at_the_entry_of_stop_stops_nothing) {
  open({{"file_path", write_trace_of(5000)}});
  throw_at("veltra stop_extracting entry");
  session.on_packet = [&](const test_support::received_packet&) { EXPECT_EQ(session.stop(), 100); };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 5U);
  EXPECT_EQ(session.last_error(), (reported_error{"thrown at: veltra stop_extracting entry", 100}));
}

TEST_F(log_test, a_throw_at_the_exit_of_stop_comes_after_it_took_effect) {
  open({{"file_path", write_trace_of(5000)}});
  throw_at("veltra stop_extracting exit");
  session.on_packet = [&](const test_support::received_packet& packet) {
    if (packet.sequence_number == 1) {
      EXPECT_EQ(session.stop(), 100);
    }
  };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 2U);
}

}  // namespace
