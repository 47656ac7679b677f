// cache_sync_fixture.h - a cache directory and a server to fill it from.
#pragma once

#include <gmock/gmock.h>

#include <cerrno>
#include <curlpp/Exception.hpp>
#include <map>
#include <optional>
#include <utility>

#include "platform/file.h"
#include "plugin/database/cache_settings_error.h"
#include "plugin/database/cache_sync.h"
#include "plugin/database/cached_database.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/environment_variable.h"
#include "tests/support/forward_proxy.h"
#include "tests/support/http_server.h"
#include "tests/support/paths.h"
#include "tests/support/recorded_log.h"
#include "tests/support/scripted_files.h"
#include "tests/support/temp_directory.h"

namespace veltra {

namespace fs = std::filesystem;
using kovax::json;
using test_support::catalogue_of;
using test_support::http_response;
using test_support::http_server;
using test_support::listed_database;
using test_support::log_line;
using test_support::scripted_files;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

inline constexpr const char* old_time = "2024-05-01 12:00:00";
inline constexpr const char* new_time = "2024-05-01 12:00:01";

inline log_line progress(const std::string& message) {
  return {2, message};
}

// A cache directory of its own, and a server that has a catalogue and files.
class cache_sync_test : public testing::Test {
 protected:
  // A database with its content, listed as "${root}NAME".
  listed_database database(const std::string& name, const std::string& content,
                           const std::string& version = "1.0") {
    server_.answer("/" + name, content);
    return {"modem", version, "uuid-of-" + name, "${root}" + name, sha256_hex(content)};
  }

  void publish(const std::string& updated, const std::vector<listed_database>& databases) {
    server_.answer("/config.json", catalogue_of(updated, databases).dump());
  }

  void cache_catalogue(const std::string& updated, const std::vector<listed_database>& databases) {
    cache_.write("config.json", catalogue_of(updated, databases).dump());
  }

  std::string cached_file(const std::string& name) { return read_file(cache_.path() / name); }

  std::string path(const std::string& name) {
    return test_support::native(
        platform::path_to_utf8(cache_.path() / platform::path_from_utf8(name)));
  }

  void sync() {
    directories_.clear();
    log_.clear();
    sync_log listener(log_.host_log());
    sync_database_cache(listener, config_, directories_, expand_, files_);
  }

  std::string error_of_sync() {
    try {
      sync();
    } catch (const std::exception& error) {
      return error.what();
    }
    return "no error";
  }

  std::vector<std::string> messages() const {
    std::vector<std::string> messages;
    for (const log_line& line : log_.lines()) messages.push_back(line.message);
    return messages;
  }

  // What the machine's own environment says about proxies is not under test.
  test_support::environment_variable http_proxy_{"http_proxy", std::nullopt};
  test_support::environment_variable all_proxy_{"all_proxy", std::nullopt};
  test_support::environment_variable ALL_PROXY_{"ALL_PROXY", std::nullopt};
  http_server server_;
  test_support::temp_directory cache_;
  scripted_files files_;
  test_support::recorded_log log_;
  std::vector<std::string> directories_;
  const std::string cached_ = "database of fw1";
  json config_ = {{"cache_directory", platform::path_to_utf8(cache_.path())},
                  {"update_cache", true},
                  {"trace_db_locations", {"${root}config.json"}},
                  {"root", server_.url("")}};
  text_expansion expand_ = [](const json& value) { return value.get<std::string>(); };
};

}  // namespace veltra
