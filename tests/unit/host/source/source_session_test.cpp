#include "host/source/source_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/simulate/refusal.h"
#include "tests/unit/host/source/fake_plugin.h"

namespace veltra::host {
namespace {

using kovax::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// Does what a test wants with what an instance delivers.
struct scripted_listener : source_listener {
  std::function<void(const packet&)> packet_handler;
  std::function<void(std::int32_t, std::string_view)> message_handler;

  void on_packet(const packet& packet) override { packet_handler(packet); }
  void on_message(std::int32_t level, std::string_view message) override {
    message_handler(level, message);
  }
};

class source_session_test : public testing::Test {
 protected:
  source_session_test() {
    listener_.packet_handler = [this](const packet& each) { layers_.emplace_back(each.layer); };
    listener_.message_handler = [this](std::int32_t level, std::string_view message) {
      messages_.push_back(std::to_string(level) + " " + std::string(message));
    };
  }

  source_failure init(const json& script) {
    const auto file = directory_.write("script.json", script.dump());
    return session_.init(json({{"file_path", platform::path_to_utf8(file)}}).dump());
  }

  test_support::temp_directory directory_;
  const plugin_library plugin_{fake_plugin_file()};
  scripted_listener listener_;
  source_session session_{plugin_, listener_};
  std::vector<std::string> messages_;
  std::vector<std::string> layers_;
};

const json one_packet = {{"steps", {{{"layer", "ip"}, {"text", "E"}}}}};

TEST_F(source_session_test, packets_come_in_order) {
  ASSERT_FALSE(init({{"steps", {{{"layer", "a"}, {"times", 2}}, {{"layer", "b"}}}}}));
  EXPECT_FALSE(session_.run());
  EXPECT_THAT(layers_, ElementsAre("a", "a", "b"));
}

TEST_F(source_session_test, null_texts_read_as_empty) {
  ASSERT_FALSE(init({{"steps", {json::object()}}, {"logs", {nullptr, "text"}}}));
  listener_.packet_handler = [](const packet& each) {
    EXPECT_THAT(each.layer, IsEmpty());
    EXPECT_THAT(each.category, IsEmpty());
    EXPECT_THAT(each.metadata, IsEmpty());
    EXPECT_TRUE(each.payload.empty());
    EXPECT_EQ(each.sequence, 1U);
  };
  EXPECT_FALSE(session_.run());
  EXPECT_THAT(messages_, ElementsAre("2 ", "2 text"));
}

TEST_F(source_session_test, a_refused_init_reports_why) {
  const auto failure = init({{"init", {{"result", 1}, {"message", "no such thing"}, {"code", 1}}}});
  EXPECT_TRUE(failure);
  EXPECT_EQ(failure.code, 1);
  EXPECT_EQ(failure.message, "no such thing");
}

TEST_F(source_session_test, a_refused_init_without_a_report_is_a_failure) {
  const auto failure = init({{"init", {{"result", 1}}}});
  EXPECT_EQ(failure.code, 1);
  EXPECT_EQ(failure.message, "no reason given");
}

TEST_F(source_session_test, a_refused_init_without_text_or_code_is_a_failure) {
  const auto failure = init({{"init", {{"result", 3}, {"message", nullptr}, {"code", 0}}}});
  EXPECT_EQ(failure.code, 3);
  EXPECT_EQ(failure.message, "no reason given");
}

TEST_F(source_session_test, a_report_beside_success_is_no_failure) {
  EXPECT_FALSE(init({{"init", {{"result", 0}, {"message", "odd"}, {"code", 5}}}}));
}

TEST_F(source_session_test, a_failed_run_reports_why) {
  ASSERT_FALSE(init({{"start", {{"result", 22}, {"message", "the end"}, {"code", 22}}}}));
  const auto failure = session_.run();
  EXPECT_EQ(failure.code, 22);
  EXPECT_EQ(failure.message, "the end");
}

TEST_F(source_session_test, a_failed_run_whose_error_was_not_kept_is_a_failure) {
  ASSERT_FALSE(init({{"start", {{"result", 100}, {"message", ""}, {"code", 0}}}}));
  const auto failure = session_.run();
  EXPECT_EQ(failure.code, 100);
  EXPECT_EQ(failure.message, "no reason given");
}

TEST_F(source_session_test, what_the_listener_throws_ends_the_run_and_comes_out_of_it) {
  ASSERT_FALSE(init(
      {{"steps", {{{"layer", "a"}, {"times", 3}}, {{"wait_for_stops", 1}}, {{"layer", "b"}}}},
       {"start", {{"result", 100}, {"message", "lost"}, {"code", 100}}}}));
  int packets = 0;
  listener_.packet_handler = [&](const packet&) {
    ++packets;
    throw std::runtime_error("full");
  };
  EXPECT_THAT([this] { session_.run(); }, testing::ThrowsMessage<std::runtime_error>("full"));
  EXPECT_EQ(packets, 1);
}

TEST_F(source_session_test, a_session_runs_again_after_its_listener_threw) {
  ASSERT_FALSE(init(one_packet));
  listener_.packet_handler = [](const packet&) { throw 1; };
  EXPECT_THROW(session_.run(), int);
  listener_.packet_handler = [](const packet&) {};
  EXPECT_FALSE(session_.run());
}

TEST_F(source_session_test, a_stop_from_another_thread_ends_a_run_that_waits) {
  ASSERT_FALSE(init({{"steps", {{{"layer", "a"}}, {{"wait_for_stops", 1}}, {{"layer", "b"}}}}}));
  std::thread stopper;
  listener_.packet_handler = [&](const packet& each) {
    layers_.emplace_back(each.layer);
    stopper = std::thread([&] { session_.stop(); });
  };
  EXPECT_FALSE(session_.run());
  stopper.join();
  EXPECT_THAT(layers_, ElementsAre("a"));
}

TEST_F(source_session_test, a_message_that_cannot_be_shown_ends_nothing) {
  listener_.message_handler = [](std::int32_t, std::string_view) { throw 1; };
  EXPECT_FALSE(init({{"logs", {"text"}}}));
}

TEST(plugin_library, a_missing_file_is_named) {
  EXPECT_THAT(refusal_of([] { plugin_library("/no/such/plugin.kovax"); }),
              AllOf(StartsWith("cannot load the plug-in: "), HasSubstr("plugin.kovax")));
}

TEST(plugin_library, a_name_without_a_directory_is_a_file_here_and_not_in_the_system) {
  test_support::temp_directory directory;
  const test_support::working_directory here(directory.path());
  EXPECT_THAT(refusal_of([] { plugin_library("libm.so.6"); }),
              HasSubstr(platform::path_to_utf8(directory.path() / "libm.so.6")));
}

TEST(plugin_library, a_file_that_is_no_library_is_refused) {
  test_support::temp_directory directory;
  const auto file = directory.write("plugin.kovax", "no library");
  EXPECT_THAT(refusal_of([&] { plugin_library{file}; }), HasSubstr("cannot load the plug-in: "));
}

TEST(plugin_library, a_library_without_the_functions_is_refused_by_the_first_missing_name) {
  EXPECT_THAT(refusal_of([] { plugin_library{empty_plugin_file()}; }),
              AllOf(StartsWith("the plug-in is incompatible: "), HasSubstr("kovax_source_init"),
                    HasSubstr("--plugin")));
}

// There is no plug-in beside the test program.
TEST(plugin_library, without_a_name_it_is_looked_for_beside_the_program) {
  EXPECT_THAT(refusal_of([] { plugin_library({}); }),
              AllOf(StartsWith("there is no kovax-veltra-source.kovax beside this program or in "),
                    HasSubstr("--plugin")));
}

}  // namespace
}  // namespace veltra::host
