#include "plugin/database/download.h"

#include <gmock/gmock.h>

#include <chrono>
#include <curlpp/Exception.hpp>
#include <future>

#include "platform/file.h"
#include "tests/support/environment_variable.h"
#include "tests/support/forward_proxy.h"
#include "tests/support/http_server.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

using test_support::environment_variable;
using test_support::forward_proxy;
using test_support::http_response;
using test_support::http_server;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::string download(const std::string& address) {
  return download_to_string(address, std::nullopt);
}

std::string error_of(const std::string& address) {
  try {
    download(address);
  } catch (const curlpp::RuntimeError& error) {
    return error.what();
  }
  return "no error";
}

class download_test : public testing::Test {
 protected:
  // What the machine's own environment says about proxies is not under test.
  environment_variable http_proxy_{"http_proxy", std::nullopt};
  environment_variable all_proxy_{"all_proxy", std::nullopt};
  environment_variable ALL_PROXY_{"ALL_PROXY", std::nullopt};
  environment_variable no_proxy_{"no_proxy", std::nullopt};
  environment_variable NO_PROXY_{"NO_PROXY", std::nullopt};
  http_server server_;
  forward_proxy proxy_;
};

TEST_F(download_test, the_body_is_returned_byte_for_byte) {
  std::string body;
  for (int i = 0; i < 300'000; ++i) body += static_cast<char>(i * 7);
  server_.answer("/fw.tar.gz", body);
  EXPECT_EQ(download(server_.url("/fw.tar.gz")), body);
  EXPECT_THAT(server_.targets(), ElementsAre("/fw.tar.gz"));
}

TEST_F(download_test, an_empty_body_is_an_empty_text) {
  server_.answer("/empty", "");
  EXPECT_EQ(download(server_.url("/empty")), "");
}

TEST_F(download_test, the_page_of_an_error_status_is_content) {
  EXPECT_EQ(download(server_.url("/missing")), "not here\n");
}

TEST_F(download_test, redirects_are_not_followed) {
  server_.answer("/target", "never fetched");
  http_response redirect;
  redirect.body = "moved";
  redirect.status = 302;
  redirect.fields = {{"Location", server_.url("/target")}};
  server_.answer("/old", redirect);
  EXPECT_EQ(download(server_.url("/old")), "moved");
  EXPECT_THAT(server_.targets(), ElementsAre("/old"));
}

TEST_F(download_test, a_body_in_many_pieces_is_put_together) {
  http_response response;
  response.body = std::string(5000, 'x') + "end";
  response.one_byte_at_a_time = true;
  server_.answer("/pieces", response);
  EXPECT_EQ(download(server_.url("/pieces")), response.body);
}

TEST_F(download_test, a_server_that_takes_its_time_is_waited_for) {
  http_response response;
  response.body = "at last";
  response.held = true;
  server_.answer("/slow", response);
  auto body = std::async(std::launch::async, [&] { return download(server_.url("/slow")); });
  server_.wait_for_requests(1);
  EXPECT_EQ(body.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  server_.release();
  EXPECT_EQ(body.get(), "at last");
}

TEST_F(download_test, a_body_that_is_cut_off_is_libcurls_error) {
  http_response response;
  response.body = std::string(1000, 'x');
  response.cut_off_after = 400;
  server_.answer("/cut", response);
  EXPECT_EQ(error_of(server_.url("/cut")), "transfer closed with 600 bytes remaining to read");
}

TEST_F(download_test, a_refused_connection_is_libcurls_error) {
  std::string address;
  {
    const http_server gone;
    address = gone.url("/");
  }
  EXPECT_THAT(error_of(address), HasSubstr("Failed to connect to 127.0.0.1"));
}

TEST_F(download_test, an_address_that_is_none_is_libcurls_error) {
  EXPECT_EQ(error_of("no-such-protocol://host/"),
            "Protocol \"no-such-protocol\" not supported or disabled in libcurl");
  EXPECT_NE(error_of(""), "no error");
}

TEST_F(download_test, a_file_uri_is_read) {
  const test_support::temp_directory directory;
  const auto file = directory.write("fw.json", std::string("a\r\nb\0c", 6));
  EXPECT_EQ(download("file://" + platform::path_to_utf8(file)), std::string("a\r\nb\0c", 6));
}

TEST_F(download_test, a_missing_file_is_libcurls_error) {
  EXPECT_THAT(error_of("file:///no/such/file"), HasSubstr("Couldn't open file /no/such/file"));
}

TEST_F(download_test, a_proxy_setting_sends_the_request_through_the_proxy) {
  server_.answer("/fw.json", "through");
  EXPECT_EQ(download_to_string(server_.url("/fw.json"), proxy_.address()), "through");
  EXPECT_THAT(proxy_.targets(), ElementsAre(server_.url("/fw.json")));
  ASSERT_EQ(server_.requests().size(), 1U);
  EXPECT_THAT(server_.requests()[0].head, HasSubstr("Via: 1.1 forward_proxy"));
}

TEST_F(download_test, no_proxy_setting_leaves_the_choice_to_the_environment) {
  server_.answer("/fw.json", "through");
  const environment_variable variable("http_proxy", "http://" + proxy_.address());
  EXPECT_EQ(download(server_.url("/fw.json")), "through");
  EXPECT_THAT(proxy_.targets(), ElementsAre(server_.url("/fw.json")));
}

TEST_F(download_test, an_empty_proxy_setting_is_set_too_and_means_no_proxy) {
  server_.answer("/fw.json", "straight");
  const environment_variable variable("http_proxy", "http://" + proxy_.address());
  EXPECT_EQ(download_to_string(server_.url("/fw.json"), ""), "straight");
  EXPECT_THAT(proxy_.targets(), IsEmpty());
  EXPECT_THAT(server_.targets(), ElementsAre("/fw.json"));
}

TEST_F(download_test, a_proxy_that_does_not_answer_is_libcurls_error) {
  std::string address;
  {
    const forward_proxy gone;
    address = gone.address();
  }
  EXPECT_THROW(download_to_string(server_.url("/fw.json"), address), curlpp::RuntimeError);
  EXPECT_THAT(server_.targets(), IsEmpty());
}

}  // namespace
}  // namespace veltra
