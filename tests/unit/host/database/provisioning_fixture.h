// provisioning_fixture.h - a cache, a server to fill it from, and traces.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "host/database/guarded_policy.h"
#include "host/database/provisioning.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "plugin/database/cached_database.h"
#include "plugin/database/file_io.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/environment_variable.h"
#include "tests/support/http_server.h"
#include "tests/support/temp_directory.h"

namespace veltra::host {

class provisioning_test : public testing::Test {
 protected:
  static constexpr const char* first_uuid = "11111111-aaaa-4bbb-8ccc-000000000001";
  static constexpr const char* second_uuid = "22222222-aaaa-4bbb-8ccc-000000000002";

  provisioning_test() {
    options_.cache = platform::path_to_utf8(directory_.path() / "cache");
    options_.locations = {server_.url("/config.json")};
    options_.root = server_.url("/");
    options_.update = true;
    publish({listed("1.0", first_uuid, "fw1.json"), listed("2.0", second_uuid, "fw2.json")});
  }

  test_support::listed_database listed(const std::string& version, const std::string& uuid,
                                       const std::string& name) {
    server_.answer("/" + name, "content of " + name);
    return {"modem", version, uuid, "${root}" + name, sha256_hex("content of " + name)};
  }

  void publish(const std::vector<test_support::listed_database>& databases,
               const std::string& updated = "2024-05-01 12:00:00") {
    server_.answer("/config.json", test_support::catalogue_of(updated, databases).dump());
  }

  std::filesystem::path cached(const std::string& name) const {
    const std::filesystem::path cache = directory_.path() / "cache";
    return name.empty() ? cache : cache / platform::path_from_utf8(name);
  }

  std::filesystem::path cached_first() const {
    return cached(std::string("modem/1.0/") + first_uuid + "/fw1.json");
  }
  std::filesystem::path cached_second() const {
    return cached(std::string("modem/2.0/") + second_uuid + "/fw2.json");
  }

  std::string trace_of(const std::string& uuid) {
    return platform::path_to_utf8(directory_.write("trace.bin", "xUID %s " + uuid + "yy"));
  }

  // Calls `work` and returns why it failed; `notes_` has what it wrote to stderr.
  template <typename Work>
  std::string failure_of(const Work& work) {
    std::string reason = "no error";
    testing::internal::CaptureStderr();
    try {
      work();
    } catch (const user_error& error) {
      reason = error.what();
    }
    notes_ = testing::internal::GetCapturedStderr();
    return reason;
  }
  std::string failure_of_sync() {
    return failure_of([this] { provision_cache(options_, {}); });
  }

  test_support::environment_variable http_proxy_{"http_proxy", std::nullopt};
  test_support::environment_variable all_proxy_{"all_proxy", std::nullopt};
  test_support::environment_variable ALL_PROXY_{"ALL_PROXY", std::nullopt};
  test_support::temp_directory directory_;
  test_support::http_server server_;
  database_options options_;
  std::string notes_;
};

}  // namespace veltra::host
