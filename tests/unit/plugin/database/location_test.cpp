#include "plugin/database/location.h"

#include <gmock/gmock.h>

#include <chrono>
#include <curlpp/Exception.hpp>
#include <future>

#include "implementation/json.h"
#include "platform/file.h"
#include "tests/support/environment_variable.h"
#include "tests/support/forward_proxy.h"
#include "tests/support/http_server.h"
#include "tests/support/temp_directory.h"

namespace veltra {
namespace {

using kovax::json;
using test_support::environment_variable;
using test_support::forward_proxy;
using test_support::http_response;
using test_support::http_server;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// --- addresses and names -------------------------------------------------------------

std::string error_of(std::string_view root, std::string_view location) {
  try {
    resolve_location(root, location);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no error";
}

json entry_with_path(const std::string& path) {
  return {{"database", {{"path", path}}}};
}

TEST(resolve_location_test, a_location_without_placeholder_is_used_unchanged) {
  EXPECT_EQ(resolve_location("http://root", "http://host/config.json"), "http://host/config.json");
  EXPECT_EQ(resolve_location("", "dbs/fw1.tar.gz"), "dbs/fw1.tar.gz");
  EXPECT_EQ(resolve_location("root", ""), "");
  EXPECT_EQ(resolve_location("root", "${Root}x"), "${Root}x");
}

TEST(resolve_location_test, the_root_takes_the_place_of_a_leading_placeholder) {
  EXPECT_EQ(resolve_location("file:///srv/dbs", "${root}config.json"),
            "file:///srv/dbs/config.json");
}

TEST(resolve_location_test, both_spellings_of_the_placeholder_are_known) {
  EXPECT_EQ(resolve_location("http://root", "${ROOT}config.json"), "http://root/config.json");
}

TEST(resolve_location_test, a_separator_is_put_between_even_before_another) {
  EXPECT_EQ(resolve_location("file:///srv/dbs", "${root}/config.json"),
            "file:///srv/dbs//config.json");
}

TEST(resolve_location_test, no_separator_is_put_behind_a_root_that_ends_with_one) {
  EXPECT_EQ(resolve_location("http://root/", "${root}a"), "http://root/a");
  EXPECT_EQ(resolve_location("C:\\dbs\\", "${root}a"), "C:\\dbs\\a");
}

TEST(resolve_location_test, a_leading_placeholder_needs_a_root) {
  EXPECT_EQ(error_of("", "${root}config.json"), "root missing from auto_detect_db_config");
  EXPECT_EQ(error_of("", "${ROOT}config.json"), "root missing from auto_detect_db_config");
}

TEST(resolve_location_test, a_placeholder_further_in_costs_the_first_seven_characters) {
  EXPECT_EQ(resolve_location("http://root", "0123456789${root}a"), "http://root/789${root}a");
  EXPECT_EQ(resolve_location("http://root", "x${ROOT}a"), "http://root/}a");
}

TEST(resolve_location_test, a_placeholder_further_in_and_no_root_is_not_an_error) {
  EXPECT_EQ(resolve_location("", "x${root}a"), "/}a");
}

TEST(resolve_location_test, the_spelling_in_small_letters_is_looked_for_first) {
  EXPECT_EQ(resolve_location("", "${ROOT}${root}"), "/${root}");  // found at 7: no failure
}

TEST(resolve_location_test, only_the_first_placeholder_is_replaced) {
  EXPECT_EQ(resolve_location("r", "${root}a${root}b"), "r/a${root}b");
}

TEST(cache_file_name_test, what_follows_a_leading_placeholder_is_the_name) {
  EXPECT_EQ(cache_file_name(entry_with_path("${root}fw.tar.gz")), "fw.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("${ROOT}fw.tar.gz")), "fw.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("${root}dbs/fw.tar.gz")), "dbs/fw.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("${root}/dbs/fw.tar.gz")), "/dbs/fw.tar.gz");
}

TEST(cache_file_name_test, otherwise_the_name_follows_the_last_slash) {
  EXPECT_EQ(cache_file_name(entry_with_path("dbs/fw1.tar.gz")), "fw1.tar.gz");
  EXPECT_EQ(cache_file_name(entry_with_path("http://host/a/b/fw.json")), "fw.json");
  EXPECT_EQ(cache_file_name(entry_with_path("a\\b/c\\fw.json")), "c\\fw.json");
  EXPECT_EQ(cache_file_name(entry_with_path("dbs/")), "");
}

TEST(cache_file_name_test, otherwise_the_name_follows_the_last_backslash) {
  EXPECT_EQ(cache_file_name(entry_with_path("dbs\\sub\\fw.json")), "fw.json");
}

TEST(cache_file_name_test, otherwise_the_whole_path_is_the_name) {
  EXPECT_EQ(cache_file_name(entry_with_path("fw.json")), "fw.json");
}

TEST(cache_file_name_test, a_placeholder_further_in_counts_for_nothing) {
  EXPECT_EQ(cache_file_name(entry_with_path("x/${root}fw.json")), "${root}fw.json");
  EXPECT_EQ(cache_file_name(entry_with_path("${ROOT}a/${root}fw.json")), "${root}fw.json");
}

TEST(cache_file_name_test, a_missing_or_wrong_path_is_a_type_error) {
  for (const char* entry :
       {R"({})", R"({"database":null})", R"({"database":{}})", R"({"database":{"path":7}})",
        R"({"database":"path"})", R"(null)", R"([])"}) {
    EXPECT_THROW(cache_file_name(json::parse(entry)), json::type_error) << entry;
  }
}

// --- downloads -----------------------------------------------------------------------

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
