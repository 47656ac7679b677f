// Runs, failures in runs, new starts and the end of an instance.
#include <algorithm>
#include <stdexcept>
#include <string>

#include "tests/support/source_fixture.h"

namespace {

using kovax::json;
using test_support::received_packet;
using test_support::source_session;

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

}  // namespace
