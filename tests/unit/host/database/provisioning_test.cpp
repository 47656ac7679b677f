#include "host/database/provisioning.h"

#include "tests/unit/host/database/provisioning_fixture.h"

namespace veltra::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST_F(provisioning_test, every_database_of_the_catalogue_is_fetched) {
  EXPECT_EQ(failure_of_sync(), "no error");
  EXPECT_EQ(read_file(cached_first()), "content of fw1.json");
  EXPECT_EQ(read_file(cached_second()), "content of fw2.json");
  EXPECT_EQ(notes_, "");
}

TEST_F(provisioning_test, a_web_page_is_never_kept_as_a_catalogue) {
  server_.answer("/page", "<html>sign in</html>");
  options_.locations = {server_.url("/page")};
  EXPECT_THAT(failure_of_sync(),
              AllOf(HasSubstr(server_.url("/page")), HasSubstr("it may be a web page")));
  EXPECT_FALSE(fs::exists(cached("config.json")));
  options_.locations = {server_.url("/page"), server_.url("/config.json")};
  EXPECT_EQ(failure_of_sync(), "no error");
  EXPECT_THAT(notes_, HasSubstr("trying the next location"));
}

TEST_F(provisioning_test, a_good_cached_catalogue_is_used_with_a_note_when_an_update_fails) {
  ASSERT_EQ(failure_of_sync(), "no error");
  options_.locations = {server_.url("/none")};
  EXPECT_EQ(failure_of_sync(), "no error");
  EXPECT_THAT(notes_, AllOf(HasSubstr(server_.url("/none") + " (HTTP status 404)"),
                            HasSubstr("which may be out of date")));
}

TEST_F(provisioning_test, a_database_without_the_digest_is_never_put_under_its_name) {
  server_.answer("/fw1.json", "<html>moved</html>");
  EXPECT_THAT(failure_of_sync(), AllOf(HasSubstr(first_uuid), HasSubstr(server_.url("/fw1.json")),
                                       HasSubstr("digest")));
  EXPECT_FALSE(fs::exists(cached_first()));
  server_.answer("/fw1.json", "");
  EXPECT_THAT(failure_of_sync(), HasSubstr("it is empty there"));
  EXPECT_FALSE(fs::exists(cached_first()));
}

TEST_F(provisioning_test, a_failure_leaves_no_empty_directory_of_a_mistyped_name) {
  options_.cache = platform::path_to_utf8(directory_.path() / "mistyped/cache");
  options_.update = false;
  EXPECT_THAT(failure_of_sync(), HasSubstr("has no catalogue yet"));
  EXPECT_FALSE(fs::exists(directory_.path() / "mistyped"));
  options_.update = true;
  options_.locations = {server_.url("/none")};
  EXPECT_THAT(failure_of_sync(), HasSubstr("HTTP status 404"));
  EXPECT_FALSE(fs::exists(directory_.path() / "mistyped"));
}

TEST_F(provisioning_test, a_directory_that_was_there_stays) {
  fs::create_directory(cached(""));
  options_.update = false;
  EXPECT_THAT(failure_of_sync(), HasSubstr("has no catalogue yet"));
  EXPECT_TRUE(fs::exists(cached("")));
}

TEST_F(provisioning_test, names_that_lead_out_of_the_cache_are_refused) {
  for (const char* name : {"..", ".", "a/b", "/etc", "a\\b", "c:", "", "a\nb"}) {
    for (const int member : {0, 1, 2}) {
      test_support::listed_database entry = listed("1.0", first_uuid, "fw1.json");
      (member == 0 ? entry.type : member == 1 ? entry.version : entry.uuid) = name;
      publish({entry}, "2024-05-02 12:00:00");
      EXPECT_THAT(failure_of_sync(), HasSubstr("may lead out of the cache")) << name;
      fs::remove_all(cached(""));
    }
  }
  for (const char* path :
       {"${root}../fw1.json", "${root}/etc/fw1.json", "${root}", "http://x/.."}) {
    test_support::listed_database entry = listed("1.0", first_uuid, "fw1.json");
    entry.path = path;
    publish({entry}, "2024-05-02 12:00:00");
    EXPECT_THAT(failure_of_sync(), HasSubstr("may lead out of the cache")) << path;
    fs::remove_all(cached(""));
  }
}

TEST_F(provisioning_test, a_catalogue_that_is_trusted_may_have_any_name) {
  test_support::listed_database entry = listed("1.0", first_uuid, "fw1.json");
  entry.type = "family/modem";
  publish({entry});
  options_.trust_catalogue = true;
  EXPECT_EQ(failure_of_sync(), "no error");
  EXPECT_TRUE(fs::exists(cached("family/modem/1.0")));
}

TEST_F(provisioning_test, a_trace_gets_the_database_that_it_names) {
  const database_options found = find_database_of_trace(options_, trace_of(second_uuid));
  EXPECT_EQ(platform::path_from_utf8(found.file), cached_second());
  EXPECT_EQ(found.cache, "");
}

TEST_F(provisioning_test, a_damaged_database_of_another_modem_costs_a_trace_nothing) {
  ASSERT_EQ(failure_of_sync(), "no error");
  write_file(cached_first(), "damaged");
  options_.update = false;
  options_.root.clear();
  const std::size_t requests = server_.targets().size();
  EXPECT_EQ(platform::path_from_utf8(find_database_of_trace(options_, trace_of(second_uuid)).file),
            cached_second());
  EXPECT_EQ(server_.targets().size(), requests);
  EXPECT_EQ(read_file(cached_first()), "damaged") << "it is not even looked at";
}

TEST_F(provisioning_test, an_unrelated_database_that_does_not_come_is_a_note) {
  test_support::http_response gone;
  gone.status = 404;
  server_.answer("/fw1.json", gone);
  EXPECT_EQ(failure_of([&] { find_database_of_trace(options_, trace_of(second_uuid)); }),
            "no error");
  EXPECT_THAT(notes_, AllOf(HasSubstr(first_uuid), HasSubstr("HTTP status 404"),
                            HasSubstr("it is not needed now")));
}

TEST_F(provisioning_test, a_trace_whose_database_is_not_there_is_told_with_the_command) {
  const std::string other = "33333333-aaaa-4bbb-8ccc-000000000003";
  EXPECT_THAT(failure_of([&] { find_database_of_trace(options_, trace_of(other)); }),
              AllOf(HasSubstr(other), HasSubstr("modem"), HasSubstr("veltra db sync --cache ")));
}

TEST_F(provisioning_test, a_trace_without_a_uuid_is_told_so) {
  EXPECT_THAT(failure_of([&] { find_database_of_trace(options_, trace_of(std::string(36, 'x'))); }),
              AllOf(HasSubstr("no UUID in it up to its end"), HasSubstr("1 text in its place")));
  EXPECT_THAT(notes_, HasSubstr("is not a UUID; still searching"));
}

TEST_F(provisioning_test, a_live_run_finds_nothing_to_fetch) {
  const database_options ready = provision_for_search(options_);
  EXPECT_FALSE(ready.update);
  EXPECT_THAT(ready.locations, IsEmpty());
  EXPECT_EQ(ready.cache, options_.cache);
  EXPECT_TRUE(fs::exists(cached_first()));
  EXPECT_TRUE(fs::exists(cached_second()));
}

TEST_F(provisioning_test, a_catalogue_over_plain_http_of_another_machine_is_noted) {
  std::vector<std::string> notes;
  options_.timeout_s = 1;
  options_.proxy = "127.0.0.1:1";  // nobody listens there
  const guarded_policy policy(options_, {},
                              [&](const std::string& text) { notes.push_back(text); });
  EXPECT_THROW(policy.fetch_catalogue("http://databases.example/config.json", options_.proxy),
               download_error);
  EXPECT_THAT(notes, ElementsAre(HasSubstr("plain http from http://databases.example/")));
}

}  // namespace
}  // namespace veltra::host
