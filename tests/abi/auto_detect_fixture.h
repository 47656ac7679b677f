// auto_detect_fixture.h - an instance that is to find its database by itself.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file.h"
#include "plugin/database/cached_database.h"
#include "tests/support/catalogue_builder.h"
#include "tests/support/paths.h"
#include "tests/support/source_fixture.h"

namespace test_support {

inline constexpr const char* first_uuid = "0a1b2c3d-0000-4000-8000-00112233aabb";
inline constexpr const char* second_uuid = "ffffffff-1111-4222-8333-444444444444";

// The text that names a database in a stream, without the two bytes behind it.
inline std::string uid_text(const std::string& uuid) {
  return std::string("UID %s") + '\0' + uuid;
}

// A catalogue and its databases in a directory, and a cache that is to be filled
// from there over file:// addresses.
class auto_detect_fixture : public source_fixture {
 protected:
  temp_directory origin;
  std::filesystem::path cache = directory.path() / "cache";
  std::vector<listed_database> listed;

  // The host's name of a path below the cache, absolute.
  std::string in_cache(std::string_view name) const {
    return platform::path_to_utf8(cache / platform::path_from_utf8(native(name)));
  }

  // Offers a database for the firmware `version` of "modem".
  void offer(const std::string& version, const std::string& uuid, const std::string& name,
             const std::string& content) {
    origin.write(name, content);
    listed.push_back({"modem", version, uuid, "${root}" + name, veltra::sha256_hex(content)});
  }

  // The same with a sound database that carries its UUID.
  void offer(const std::string& version, const std::string& uuid) {
    auto database = conversion_database();
    database["meta"]["uuid"] = uuid;
    offer(version, uuid, version + ".json", database.dump());
  }

  void publish(const std::string& updated = "2024-05-01 12:00:00") {
    origin.write("config.json", catalogue_of(updated, listed).dump());
  }

  // "auto_detect_db_config" for the cache and what is offered.
  kovax::json detection() const {
    return {{"cache_directory", platform::path_to_utf8(cache)},
            {"update_cache", true},
            {"trace_db_locations", {"${root}config.json"}},
            {"root", "file://" + platform::path_to_utf8(origin.path())}};
  }

  kovax::json parameters(std::string_view trace) const {
    return {{"file_path", write_trace(trace)}, {"auto_detect_db_config", detection()}};
  }

  // Publishes, initialises, and forgets what was logged meanwhile.
  void open_detecting(std::string_view trace, std::size_t chunk_size = 1024) {
    publish();
    auto all = parameters(trace);
    all["chunk_size"] = chunk_size;
    open(all);
    session.logs.clear();
  }

  // Log lines of the run, as the instance's own.
  log_line progress(const std::string& text) const { return {session.handle(), 2, text}; }
  log_line recoverable(const std::string& text) const { return {session.handle(), 5, text}; }

  // Calls `act` when `text` is logged, the first time.
  template <typename Action>
  void at_log(const std::string& text, Action act) {
    session.on_log = [this, text, act](const log_line& line) {
      if (line.text != text) return;
      session.on_log = nullptr;
      act();
    };
  }
};

}  // namespace test_support
