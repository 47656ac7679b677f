// Nothing that the decoder hands out, and nothing of an instance, may stay on
// the heap. Under a sanitizer its leak check takes the place of the counting.
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>

#include "tests/support/source_fixture.h"
#include "tests/support/this_process.h"

namespace {

using kovax::json;
using test_support::build_trace;
using test_support::conversion_database;
using test_support::database_master;
using test_support::heap_bytes_in_use;
using test_support::plugin;

constexpr int rounds = 300;
// Below what one forgotten object a round would come to.
constexpr std::size_t tolerance = 6000;

class memory_test : public test_support::source_fixture {
 protected:
  void TearDown() override { decoder.record_calls(true); }

  // Carries a step out often enough that what it forgets adds up.
  void expect_no_growth(const std::function<void()>& step) {
    decoder.record_calls(false);
    for (int round = 0; round < 10; ++round) step();
    const std::size_t before = heap_bytes_in_use();
    for (int round = 0; round < rounds; ++round) step();
    const std::size_t after = heap_bytes_in_use();
    EXPECT_LT(after, before + tolerance);
  }

  static void ignore_packet(kovax_source*, void*, kovax_stream_packet_t) {}

  static void throw_at_decoded(kovax_source*, void*, kovax_stream_packet_t packet) {
    if (packet.field_32 != 0) throw std::runtime_error("no");
  }

  // A trace that is handed out once, ready at once.
  void queue(std::uint32_t master, const std::string& trace) {
    decoder.add_trace(0, master, trace);
  }

  void expect_records_are_freed(const std::function<void()>& script,
                                kovax_packet_callback callback) {
    open_decoding("", conversion_database());
    expect_no_growth([&] {
      decoder.clear();
      decoder.record_calls(false);
      script();
      plugin().start(session.handle(), nullptr, callback);
      // What a failed run left waiting.
      plugin().start(session.handle(), nullptr, &ignore_packet);
    });
  }
};

TEST_F(memory_test, converted_records_are_freed) {
  const auto trace = build_trace({.buffer_id = "1"}, "ip");
  expect_records_are_freed([&] { queue(database_master, trace); }, &ignore_packet);
}

TEST_F(memory_test, records_of_an_unknown_master_are_freed) {
  const auto trace = build_trace({.buffer_id = "1"}, "ip");
  expect_records_are_freed([&] { queue(database_master + 1, trace); }, &ignore_packet);
}

TEST_F(memory_test, records_that_make_no_packet_are_freed) {
  const auto trace = build_trace({.id = 9999, .buffer_id = "6"}, "nothing");
  expect_records_are_freed([&] { queue(database_master, trace); }, &ignore_packet);
}

TEST_F(memory_test, records_without_data_are_freed) {
  expect_records_are_freed([&] { decoder.add_trace_without_data(0, database_master, 0); },
                           &ignore_packet);
}

TEST_F(memory_test, records_are_freed_when_the_callback_throws) {
  const auto trace = build_trace({.buffer_id = "1"}, "ip");
  expect_records_are_freed([&] { queue(database_master, trace); }, &throw_at_decoded);
}

TEST_F(memory_test, built_payloads_are_freed_when_the_callback_throws) {
  const auto trace = build_trace({.id = test_support::id::peer_dump, .buffer_id = "5"},
                                 std::string(5000, 'x') + '\0');
  expect_records_are_freed([&] { queue(database_master, trace); }, &throw_at_decoded);
}

TEST_F(memory_test, records_are_freed_when_a_definition_has_a_wrong_type) {
  auto database = conversion_database();
  database["traces"][0]["format_items"][0]["reference"] = "text";
  open_decoding("", database);
  const auto trace = build_trace({.id = test_support::id::formatted_at}, "x");
  expect_no_growth([&] {
    decoder.clear();
    decoder.record_calls(false);
    queue(database_master, trace);
    EXPECT_EQ(plugin().start(session.handle(), nullptr, &ignore_packet), 100);
  });
}

TEST_F(memory_test, instances_are_freed_whole) {
  session.without_log = true;
  const json parameters = {{"file_path", write_trace("abc")},
                           {"db_file_path", write_database(conversion_database())}};
  const std::string text = parameters.dump();
  expect_no_growth([&] {
    kovax_source* source = nullptr;
    kovax_source_init_args arguments = {};
    arguments.parameters = text.c_str();
    ASSERT_EQ(plugin().init(&source, &arguments), 0);
    ASSERT_EQ(plugin().start(source, nullptr, &ignore_packet), 0);
    ASSERT_EQ(plugin().release(source), 0);
  });
}

TEST_F(memory_test, failed_instances_leave_nothing) {
  auto database = conversion_database();
  database["meta"]["name"] = "other";
  const json parameters = {{"file_path", write_trace("abc")},
                           {"db_file_path", write_database(database)}};
  const std::string text = parameters.dump();
  expect_no_growth([&] {
    kovax_source* source = nullptr;
    kovax_source_init_args arguments = {};
    arguments.parameters = text.c_str();
    ASSERT_EQ(plugin().init(&source, &arguments), 1);
  });
}

}  // namespace
