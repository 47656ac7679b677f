#include "host/explain/foreign_packets.h"

#include <fmt/format.h>

#include "host/source/literal_path.h"
#include "host/source/source_session.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

class layer_counts : public source_listener {
 public:
  void on_packet(const packet& packet) override {
    if (!is_raw(packet)) ++counts[std::string(packet.layer)];
  }
  void on_message(std::int32_t /*level*/, std::string_view /*message*/) override {}

  std::map<std::string, std::uint64_t> counts;
};

}  // namespace

std::map<std::string, std::uint64_t> count_packets(const std::string& trace,
                                                   const std::string& database,
                                                   const std::string& plugin) {
  const plugin_library library(platform::path_from_utf8(plugin));
  layer_counts listener;
  source_session session(library, listener);
  const kovax::json parameters = {
      {"file_path", literal_path(platform::path_from_utf8(trace))},
      {"db_file_path", literal_path(platform::path_from_utf8(database))},
      {"chunk_size", 65536}};
  if (const source_failure failure = session.init(parameters.dump())) {
    throw user_error(exit_code::bad_input,
                     fmt::format("the plug-in does not start with {} ({}); check the database.",
                                 database, failure.message));
  }
  session.run();
  return std::move(listener.counts);
}

}  // namespace veltra::host
