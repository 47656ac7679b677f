// Hosts that do what few would do and the interface permits.
#include <gmock/gmock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/file.h"
#include "tests/support/source_fixture.h"

namespace {

using test_support::log_line;
using test_support::plugin;
using test_support::received_packet;
using test_support::reported_error;
using test_support::source_session;
using test_support::varied_bytes;

class odd_host_test : public test_support::source_fixture {
 protected:
  static void run_on_threads(std::size_t count, const std::function<void()>& work) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) threads.emplace_back(work);
    for (std::thread& each : threads) each.join();
  }

  static std::string last_message_of(kovax_source* source) {
    std::string message;
    plugin().get_last_error(source, &message, [](void* to, kovax_error_t error) {
      *static_cast<std::string*>(to) = error.message;
    });
    return message;
  }
};

TEST_F(odd_host_test, may_read_the_last_error_and_stop_on_any_thread_while_runs_fail) {
  constexpr std::size_t runs = 100;
  open({{"file_path", write_trace_of(runs * 1024)}});
  session.on_packet = [](const received_packet&) { throw std::runtime_error("a failure"); };
  std::atomic<bool> is_over = false;
  std::thread host([&] {
    // A stop may end a run before its failure.
    while (session.packets.size() < runs) session.start();
    is_over = true;
  });
  run_on_threads(4, [&] {
    do {
      EXPECT_THAT(last_message_of(session.handle()), testing::AnyOf("", "a failure"));
      EXPECT_EQ(session.stop(), 0);
    } while (!is_over);
  });
  host.join();
  EXPECT_EQ(session.raw_bytes(), varied_bytes(runs * 1024));
  EXPECT_EQ(session.last_error(), (reported_error{"a failure", 100}));
}

TEST_F(odd_host_test, may_run_another_instance_within_a_packet) {
  open({{"file_path", write_trace_of(5000)}});
  const auto other_trace = directory.write("other.bin", "of another modem");
  std::string inner_bytes;
  session.on_packet = [&](const received_packet& packet) {
    if (packet.sequence_number != 2) return;
    source_session inner;
    ASSERT_EQ(inner.init({{"file_path", platform::path_to_utf8(other_trace)}}), 0);
    EXPECT_EQ(inner.start(), 0);
    inner_bytes = inner.raw_bytes();
    EXPECT_EQ(inner.release(), 0);
  };
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(inner_bytes, "of another modem");
  EXPECT_EQ(session.raw_bytes(), varied_bytes(5000));
}

TEST_F(odd_host_test, may_call_back_into_the_instance_from_the_text_of_its_last_error) {
  open_trace("x");
  session.on_packet = [](const received_packet&) { throw std::runtime_error("a failure"); };
  EXPECT_EQ(session.start(), 100);
  struct inner_call {
    kovax_source* source;
    std::string message;
    std::int32_t stopped;
  } call{session.handle(), {}, -1};
  plugin().get_last_error(session.handle(), &call, [](void* data, kovax_error_t error) {
    auto& to = *static_cast<inner_call*>(data);
    to.message = std::string(error.message) + ", " + last_message_of(to.source);
    to.stopped = plugin().stop(to.source);
  });
  EXPECT_EQ(call.message, "a failure, a failure");
  EXPECT_EQ(call.stopped, 0);
}

TEST_F(odd_host_test, may_stop_within_the_log_of_a_stop) {
  open_trace("x");
  int depth = 0;
  session.on_log = [&](const log_line& line) {
    if (line.text != "veltra stop_extracting entry" || ++depth > 3) return;
    EXPECT_EQ(plugin().stop(session.handle()), 0);
  };
  EXPECT_EQ(plugin().stop(session.handle()), 0);
  EXPECT_EQ(depth, 4);
  EXPECT_EQ(session.start(), 0);
  EXPECT_EQ(session.raw_bytes(), "x");
}

TEST_F(odd_host_test, may_give_no_functions_at_all) {
  const kovax_source_init_args nothing{nullptr, nullptr, nullptr, nullptr, nullptr};
  kovax_source* source = nullptr;
  EXPECT_EQ(plugin().init(&source, &nothing), 1);
  EXPECT_EQ(source, nullptr);
  const std::string parameters = kovax::json{{"file_path", write_trace("abc")}}.dump();
  const kovax_source_init_args arguments{parameters.c_str(), nullptr, nullptr, nullptr, nullptr};
  ASSERT_EQ(plugin().init(&source, &arguments), 0);
  EXPECT_EQ(plugin().start(source, nullptr, nullptr), 0);
  EXPECT_EQ(plugin().stop(source), 0);
  EXPECT_EQ(plugin().release(source), 0);
  EXPECT_EQ(plugin().release(nullptr), 0);
}

TEST_F(odd_host_test, may_ask_for_version_and_schema_on_all_threads_during_a_run) {
  open({{"file_path", write_trace_of(100 * std::size_t{1024})}});
  std::atomic<bool> is_over = false;
  std::thread host([&] {
    EXPECT_EQ(session.start(), 0);
    is_over = true;
  });
  run_on_threads(4, [&] {
    do {
      EXPECT_EQ(plugin().version(nullptr, [](void*, const kovax_version_t*) {}), 0);
      EXPECT_EQ(plugin().init_parameters(nullptr, [](void*, const char*) {}), 0);
    } while (!is_over);
  });
  host.join();
  EXPECT_EQ(session.raw_bytes(), varied_bytes(100 * std::size_t{1024}));
}

TEST_F(odd_host_test, may_release_an_instance_on_a_thread_that_never_saw_it) {
  for (int life = 0; life < 20; ++life) {
    source_session passed_on;
    ASSERT_EQ(passed_on.init({{"file_path", write_trace_of(3000)}}), 0);
    std::thread([&] { EXPECT_EQ(passed_on.start(), 0); }).join();
    EXPECT_EQ(passed_on.raw_bytes(), varied_bytes(3000));
    std::thread([&] { EXPECT_EQ(passed_on.release(), 0); }).join();
  }
}

}  // namespace
