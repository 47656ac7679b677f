#include "plugin/database/limited_download.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/file.h"
#include "tests/support/environment_variable.h"
#include "tests/support/http_server.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

using namespace std::chrono_literals;
using test_support::http_response;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class limited_download_test : public testing::Test {
 protected:
  std::string fetch(const std::string& address) {
    return download_within(address, std::nullopt, limits_);
  }

  std::string failure_of(const std::string& address) {
    try {
      fetch(address);
    } catch (const download_error& error) {
      return error.what();
    }
    return "no error";
  }

  static http_response response_of(int status, const std::string& body) {
    http_response response;
    response.status = status;
    response.body = body;
    return response;
  }

  test_support::environment_variable http_proxy_{"http_proxy", std::nullopt};
  test_support::environment_variable all_proxy_{"all_proxy", std::nullopt};
  test_support::environment_variable ALL_PROXY_{"ALL_PROXY", std::nullopt};
  test_support::http_server server_;
  std::vector<std::chrono::milliseconds> pauses_;
  std::function<void()> while_paused_ = [] {};
  download_limits limits_{1h, 1000, [this](std::chrono::milliseconds pause) {
                            pauses_.push_back(pause);
                            while_paused_();
                          }};
};

TEST_F(limited_download_test, a_file_comes_over_http_or_from_a_directory) {
  server_.answer("/a", "bytes");
  EXPECT_EQ(fetch(server_.url("/a")), "bytes");
  const test_support::temp_directory directory;
  const auto file = platform::path_to_utf8(directory.write("a", "file"));
  EXPECT_EQ(fetch("file://" + std::string(file.starts_with('/') ? "" : "/") + file), "file");
}

TEST_F(limited_download_test, a_status_that_will_not_pass_is_not_tried_again) {
  EXPECT_EQ(failure_of(server_.url("/none")), server_.url("/none") + ": HTTP status 404");
  EXPECT_THAT(server_.targets(), SizeIs(1));
  EXPECT_THAT(pauses_, IsEmpty());
}

TEST_F(limited_download_test, a_redirect_is_named_and_not_followed) {
  http_response moved = response_of(301, "moved");
  moved.fields = {{"Location", server_.url("/b")}};
  server_.answer("/a", moved);
  EXPECT_THAT(failure_of(server_.url("/a")), EndsWith(": HTTP status 301"));
  EXPECT_THAT(server_.targets(), ElementsAre("/a"));
}

TEST_F(limited_download_test, a_failing_server_is_tried_three_times_with_growing_pauses) {
  server_.answer("/a", response_of(503, "busy"));
  EXPECT_THAT(failure_of(server_.url("/a")), EndsWith(": HTTP status 503, 3 times"));
  EXPECT_THAT(pauses_, ElementsAre(1s, 2s));
  EXPECT_THAT(server_.targets(), SizeIs(3));
}

TEST_F(limited_download_test, a_server_that_recovers_in_a_pause_gives_the_file) {
  server_.answer("/a", response_of(500, "busy"));
  while_paused_ = [&] { server_.answer("/a", "bytes"); };
  EXPECT_EQ(fetch(server_.url("/a")), "bytes");
  EXPECT_THAT(pauses_, ElementsAre(1s));
}

TEST_F(limited_download_test, a_connection_that_breaks_off_is_tried_again) {
  http_response cut = response_of(200, "a body that is cut");
  cut.cut_off_after = 4;
  server_.answer("/a", cut);
  while_paused_ = [&] { server_.answer("/a", "whole"); };
  EXPECT_EQ(fetch(server_.url("/a")), "whole");
}

TEST_F(limited_download_test, a_server_that_accepts_and_stays_silent_is_given_up_once) {
  http_response held = response_of(200, "late");
  held.held = true;
  limits_.timeout = 1s;
  server_.answer("/a", held);
  EXPECT_THAT(failure_of(server_.url("/a")), EndsWith(": no answer within 1 s"));
  EXPECT_THAT(pauses_, IsEmpty());
  server_.release();
}

TEST_F(limited_download_test, what_is_empty_or_too_large_is_refused) {
  server_.answer("/empty", "");
  EXPECT_THAT(failure_of(server_.url("/empty")), EndsWith(": it is empty there"));
  server_.answer("/large", std::string(1001, 'x'));
  EXPECT_THAT(failure_of(server_.url("/large")), EndsWith(": larger than 1000 bytes"));
  server_.answer("/fits", std::string(1000, 'x'));
  EXPECT_THAT(fetch(server_.url("/fits")), SizeIs(1000));
  const test_support::temp_directory directory;
  const auto file = platform::path_to_utf8(directory.write("a", std::string(1001, 'x')));
  EXPECT_THAT(failure_of("file://" + std::string(file.starts_with('/') ? "" : "/") + file),
              EndsWith(": larger than 1000 bytes"));
}

TEST_F(limited_download_test, other_protocols_are_refused_by_name) {
  for (const char* address : {"ftp://127.0.0.1/a", "dict://127.0.0.1/a", "gopher://127.0.0.1/a"}) {
    EXPECT_THAT(failure_of(address),
                AllOf(StartsWith(address), HasSubstr("not supported or disabled")));
  }
  EXPECT_THAT(failure_of(""), StartsWith(": "));
}

TEST(is_plain_http, is_true_for_http_to_another_machine) {
  for (const char* address :
       {"http://server/config.json", "HTTP://server:8080", "http://127.0.0.1@server/a"}) {
    EXPECT_TRUE(is_plain_http(address)) << address;
  }
  for (const char* address : {"https://server/", "file:///a", "http://localhost:80/a",
                              "http://127.0.0.1:8080/a", "http://[::1]/a", ""}) {
    EXPECT_FALSE(is_plain_http(address)) << address;
  }
}

}  // namespace
}  // namespace veltra
