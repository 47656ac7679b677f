// Runs, stops, failures in runs, new starts and the end of an instance.
#include <algorithm>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/support/source_fixture.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::received_packet;
using test_support::source_session;
using test_support::varied_bytes;
using testing::ElementsAre;

class lifecycle_test : public test_support::source_fixture {
 protected:
  std::uint64_t offset_of(const received_packet& packet) const {
    return json::parse(packet.metadata).at("data_offset").get<std::uint64_t>();
  }
};

TEST_F(lifecycle_test, release_without_a_start) {
  open_trace("x");
  EXPECT_EQ(session.release(), 0);
}

TEST_F(lifecycle_test, release_after_a_run) {
  open_decoding("x");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.release(), 0);
}

TEST_F(lifecycle_test, release_after_a_failed_run) {
  open_decoding("x");
  session.on_packet = [](const received_packet&) { throw std::runtime_error("no"); };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.release(), 0);
}

TEST_F(lifecycle_test, release_deletes_the_decoder_once) {
  open_decoding("x");
  EXPECT_EQ(session.start(), 0);
  const auto* handle = decoder.calls_of(scripted_new).at(0).handle;
  EXPECT_TRUE(decoder.calls_of(scripted_delete).empty());
  session.release();
  const auto deleted = decoder.calls_of(scripted_delete);
  ASSERT_EQ(deleted.size(), 1U);
  EXPECT_EQ(deleted.front().handle, handle);
}

TEST_F(lifecycle_test, a_release_whose_decoder_throws_gives_100) {
  open_decoding("x");
  decoder.throw_from(scripted_delete, "cannot delete");
  EXPECT_EXIT(
      {
        const int result = session.release();
        std::_Exit(result == 100 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(lifecycle_test, a_release_whose_decoder_throws_a_number_gives_100) {
  open_decoding("x");
  decoder.throw_int_from(scripted_delete);
  EXPECT_EXIT(
      {
        const int result = session.release();
        std::_Exit(result == 100 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(lifecycle_test, two_instances_do_not_disturb_each_other) {
  open({{"file_path", write_trace_of(3000)}});
  source_session other;
  const auto other_trace = directory.write("other.bin", "other");
  ASSERT_EQ(other.init(json{{"file_path", other_trace.string()}}), 0);
  session.on_packet = [&](const received_packet& packet) {
    if (packet.sequence_number == 1) {
      EXPECT_EQ(other.start(), 0);
    }
  };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(3000));
  EXPECT_EQ(other.raw_bytes(), "other");
  EXPECT_EQ(other.packets.at(0).sequence_number, 1U);
}

TEST_F(lifecycle_test, each_instance_has_a_decoder_of_its_own) {
  open_decoding("x");
  source_session other;
  ASSERT_EQ(other.init(json{{"file_path", write_trace("y")},
                            {"db_file_path", write_database(test_support::minimal_database())}}),
            0);
  const auto made = decoder.calls_of(scripted_new);
  ASSERT_EQ(made.size(), 2U);
  EXPECT_NE(made[0].handle, made[1].handle);
}

TEST_F(lifecycle_test, callbacks_get_the_handle_of_their_instance) {
  open_trace("x");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.at(0).source, session.handle());
}

TEST_F(lifecycle_test, a_null_packet_function_drops_the_packets) {
  open({{"file_path", write_trace_of(3000)}});
  EXPECT_EQ(test_support::plugin().start(session.handle(), nullptr, nullptr), 0);
  EXPECT_EQ(session.start(), 0);
  EXPECT_TRUE(session.packets.empty());
}

// --- a new start ------------------------------------------------------------------------

TEST_F(lifecycle_test, a_start_at_the_end_of_the_file_gives_nothing) {
  open_trace("abc");
  EXPECT_EQ(session.start(), 0);
  session.packets.clear();
  EXPECT_EQ(session.start(), 0);
  EXPECT_TRUE(session.packets.empty());
}

TEST_F(lifecycle_test, a_start_at_the_end_of_the_file_feeds_the_decoder_nothing) {
  open_decoding("abc");
  EXPECT_EQ(session.start(), 0);
  const auto before = decoder.calls_of(scripted_append_buffer).size();
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).size(), before);
}

TEST_F(lifecycle_test, a_new_start_sets_no_decoder_up) {
  open_decoding("abc");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_new).size(), 1U);
  EXPECT_EQ(decoder.calls_of(scripted_reset).size(), 1U);
}

TEST_F(lifecycle_test, a_new_start_delivers_traces_that_came_late) {
  open_decoding("abc", test_support::conversion_database());
  EXPECT_EQ(session.start(), 0);
  decoder.add_trace(0, test_support::database_master,
                    test_support::build_trace({.buffer_id = "1"}, "late"));
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.decoded().size(), 1U);
  EXPECT_EQ(session.packets.back().data, "late");
  EXPECT_EQ(session.packets.back().sequence_number, 2U);
}

TEST_F(lifecycle_test, counter_and_offset_run_on_over_a_new_start) {
  open({{"file_path", write_trace_of(5000)}});
  session.on_packet = [&](const received_packet&) {
    session.on_packet = nullptr;
    session.stop();
  };
  EXPECT_EQ(session.start(), 0);
  const auto first_run = session.packets.size();
  ASSERT_EQ(first_run, 2U);
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 5U);
  for (std::size_t index = 0; index < session.packets.size(); ++index) {
    EXPECT_EQ(session.packets[index].sequence_number, index + 1);
    EXPECT_EQ(offset_of(session.packets[index]), std::min<std::size_t>(5000, 1024 * (index + 1)));
  }
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(5000));
}

// --- a packet callback that throws ---------------------------------------------------------

TEST_F(lifecycle_test, a_throwing_raw_callback_ends_the_run) {
  open({{"file_path", write_trace_of(5000)}});
  session.on_packet = [](const received_packet&) { throw std::runtime_error("no"); };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.packets.size(), 1U);
}

TEST_F(lifecycle_test, a_throwing_decoded_callback_ends_the_run) {
  decoder.add_trace(0, test_support::database_master,
                    test_support::build_trace({.buffer_id = "1"}, "ip"));
  open_decoding("abc", test_support::conversion_database());
  session.on_packet = [](const received_packet&) { throw std::runtime_error("no"); };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.packets.size(), 1U);
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).size(), 0U);
}

TEST_F(lifecycle_test, a_start_after_a_throwing_raw_callback_goes_on_behind_that_chunk) {
  open({{"file_path", write_trace_of(3000)}});
  session.on_packet = [&](const received_packet&) {
    session.on_packet = nullptr;
    throw std::runtime_error("no");
  };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 3U);
  EXPECT_EQ(session.packets[1].sequence_number, 2U);
  EXPECT_EQ(offset_of(session.packets[1]), 2048U);
  EXPECT_EQ(session.raw_bytes(), test_support::varied_bytes(3000));
}

TEST_F(lifecycle_test, a_start_after_a_throwing_decoded_callback_goes_on_behind_that_trace) {
  for (const char* body : {"one", "two"}) {
    decoder.add_trace(0, test_support::database_master,
                      test_support::build_trace({.buffer_id = "1"}, body));
  }
  open_decoding("abc", test_support::conversion_database());
  session.on_packet = [&](const received_packet&) {
    session.on_packet = nullptr;
    throw std::runtime_error("no");
  };
  EXPECT_EQ(session.start(), 100);
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 3U);
  EXPECT_EQ(session.packets[0].data, "one");
  EXPECT_EQ(session.packets[1].data, "two");
  EXPECT_EQ(session.packets[1].sequence_number, 2U);
  EXPECT_EQ(session.packets[2].data, "abc");
}

// --- stop ----------------------------------------------------------------------------

class stop_test : public test_support::source_fixture {
 protected:
  void stop_at_packet(std::uint64_t sequence_number) {
    session.on_packet = [this, sequence_number](const received_packet& packet) {
      if (packet.sequence_number == sequence_number) {
        EXPECT_EQ(session.stop(), 0);
      }
    };
  }

  void queue_ip(std::uint64_t parses, const std::string& body) {
    decoder.add_trace(parses, database_master, build_trace({.buffer_id = "1"}, body));
  }
};

TEST_F(stop_test, before_start_has_no_effect_on_it) {
  open({{"file_path", write_trace_of(3000)}});
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(3000));
}

TEST_F(stop_test, twice_before_start_has_no_effect_on_it) {
  open({{"file_path", write_trace_of(3000)}});
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(3000));
}

TEST_F(stop_test, logs_entry_and_exit) {
  open_trace("x");
  EXPECT_EQ(session.stop(), 0);
  EXPECT_THAT(
      session.logs,
      ElementsAre(test_support::log_line{session.handle(), 2, "veltra stop_extracting entry"},
                  test_support::log_line{session.handle(), 2, "veltra stop_extracting exit"}));
}

TEST_F(stop_test, a_second_time_only_logs) {
  open_trace("x");
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.stop(), 0);
  EXPECT_THAT(session.log_texts(),
              ElementsAre("veltra stop_extracting entry", "veltra stop_extracting exit",
                          "veltra stop_extracting entry", "veltra stop_extracting exit"));
}

TEST_F(stop_test, of_a_serial_port_that_was_never_opened_is_harmless) {
  open({{"serialport", {{"path", "/nowhere/veltra-tty"}}}});
  EXPECT_EQ(session.stop(), 0);
}

TEST_F(stop_test, after_a_run_is_harmless) {
  open_trace("x");
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.stop(), 0);
  EXPECT_EQ(session.start(), 0);
}

TEST_F(stop_test, in_a_raw_callback_lets_one_more_chunk_follow) {
  open({{"file_path", write_trace_of(10 * 1024)}});
  stop_at_packet(3);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 4U);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(10 * 1024).substr(0, 4 * 1024));
}

TEST_F(stop_test, in_the_last_raw_callback_ends_as_ever) {
  open({{"file_path", write_trace_of(2500)}});
  stop_at_packet(3);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 3U);
}

TEST_F(stop_test, in_a_raw_callback_with_a_decoder_lets_one_more_chunk_follow) {
  open_decoding(varied_bytes(10 * 1024));
  stop_at_packet(3);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 4U);
  EXPECT_EQ(decoder.appended(), varied_bytes(10 * 1024).substr(0, 4 * 1024));
}

TEST_F(stop_test, in_a_decoded_callback_returns_after_that_trace) {
  for (const char* body : {"one", "two", "three"}) queue_ip(1, body);
  open_decoding(varied_bytes(5000), conversion_database());
  stop_at_packet(3);  // behind the raw chunk and trace one
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 3U);
  EXPECT_EQ(session.packets.back().data, "two");
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).size(), 1U);
}

TEST_F(stop_test, in_a_raw_callback_with_traces_waiting_returns_after_the_first_of_them) {
  for (const char* body : {"one", "two"}) queue_ip(1, body);
  open_decoding(varied_bytes(5000), conversion_database());
  stop_at_packet(1);
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.packets.back().data, "one");
  EXPECT_EQ(decoder.calls_of(scripted_append_buffer).size(), 1U);
}

TEST_F(stop_test, is_seen_behind_a_trace_that_makes_no_packet) {
  decoder.add_trace(1, database_master + 1, build_trace({.buffer_id = "1"}, "unknown master"));
  queue_ip(1, "two");
  open_decoding(varied_bytes(5000), conversion_database());
  stop_at_packet(1);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 1U);
}

TEST_F(stop_test, leaves_waiting_traces_for_the_next_start) {
  for (const char* body : {"one", "two"}) queue_ip(1, body);
  open_decoding(varied_bytes(2000), conversion_database());
  stop_at_packet(1);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.start(), 0);
  ASSERT_EQ(session.packets.size(), 4U);
  EXPECT_EQ(session.packets[2].data, "two");
  EXPECT_EQ(session.packets[3].data, varied_bytes(2000).substr(1024));
}

TEST_F(stop_test, at_the_end_of_the_file_does_not_shorten_the_wait_for_the_decoder) {
  for (const std::uint64_t count : {1U, 1U, 0U}) decoder.add_trace_count(count);
  open_decoding("abc");
  stop_at_packet(1);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(decoder.calls_of(scripted_get_trace_count).size(), 3U);
}

TEST_F(stop_test, runs_on_with_a_new_start) {
  open({{"file_path", write_trace_of(10 * 1024)}});
  stop_at_packet(1);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), varied_bytes(10 * 1024));
}

TEST_F(stop_test, from_another_thread_ends_the_run) {
  open({{"file_path", write_trace_of(100 * 1024)}});
  std::promise<void> running;
  std::promise<int> stopped;
  std::thread other([&] {
    running.get_future().wait();
    stopped.set_value(session.stop());
  });
  session.on_packet = [&](const received_packet& packet) {
    if (packet.sequence_number != 1) return;
    running.set_value();
    EXPECT_EQ(stopped.get_future().get(), 0);
  };
  EXPECT_EQ(session.start(), 0);
  other.join();
  EXPECT_EQ(session.packets.size(), 2U);
  EXPECT_EQ(session.last_error(), (test_support::reported_error{"", 0}));
}

TEST_F(stop_test, from_another_thread_logs_on_that_thread) {
  open_trace("x");
  std::thread::id logged_on;
  session.on_log = [&](const test_support::log_line&) { logged_on = std::this_thread::get_id(); };
  std::thread other([&] { session.stop(); });
  const auto other_id = other.get_id();
  other.join();
  EXPECT_EQ(logged_on, other_id);
}

TEST_F(stop_test, packets_come_on_the_thread_of_start) {
  open_trace("x");
  std::thread::id delivered_on;
  session.on_packet = [&](const received_packet&) { delivered_on = std::this_thread::get_id(); };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(delivered_on, std::this_thread::get_id());
}

}  // namespace
