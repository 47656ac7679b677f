#include "host/database/database_summary.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <iterator>
#include <utility>

#include "host/console.h"
#include "host/database/database_lint.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "platform/shell.h"
#include "plugin/trace_db.h"

namespace veltra::host {

namespace {

// The names of the records whose decoder configuration is used, the first that
// is there.
constexpr const char* configured_cores[] = {"MCU", "M4"};

void append_line(std::string& text, const char* name, const std::string& value) {
  fmt::format_to(std::back_inserter(text), "  {:<24}{}\n", name, value);
}

void append_count(std::string& text, const char* name, std::size_t count) {
  append_line(text, name, fmt::format("{:>7}", count));
}

void append_database(std::string& text, const trace_db_config& database) {
  fmt::format_to(std::back_inserter(text), "\n{}\n", sanitize(database.name));
  append_line(text, "id", std::to_string(database.id));
  append_line(text, "master ids", fmt::format("{}", fmt::join(database.ids, ", ")));
  append_line(text, "byte order", database.little_endian ? "little" : "big");
  append_line(
      text, "trace id size",
      fmt::format("{} byte{}", database.trace_id_size, database.trace_id_size == 1 ? "" : "s"));
  append_line(text, "decoder configuration", database.decoder_config ? "yes" : "no");
  append_count(text, "traces", database.traces.size());
  append_count(text, "type descriptors", database.type_descriptors.size());
  append_count(text, "buffers", database.buffers.size());
  append_count(text, "peer buffers", database.peer_buffers.size());
  append_count(text, "peer buffer layers", database.peer_buffer_layers.size());
  append_count(text, "static strings", database.static_strings.size());
}

kovax::json to_json(const trace_db_config& database) {
  return {{"name", database.name},
          {"id", database.id},
          {"master_ids", database.ids},
          {"byte_order", database.little_endian ? "little" : "big"},
          {"trace_id_size", database.trace_id_size},
          {"has_decoder_configuration", database.decoder_config.has_value()},
          {"traces", database.traces.size()},
          {"type_descriptors", database.type_descriptors.size()},
          {"buffers", database.buffers.size()},
          {"peer_buffers", database.peer_buffers.size()},
          {"peer_buffer_layers", database.peer_buffer_layers.size()},
          {"static_strings", database.static_strings.size()}};
}

}  // namespace

database_summary summarize_database_file(const std::filesystem::path& path) {
  lint_result lint = lint_database_file(path);
  // The plug-in's reader ends the process at a broken contract.
  for (const finding& each : lint.findings) {
    if (each.severity != severity::fatal) continue;
    const std::string name = platform::path_to_utf8(path);
    throw user_error(exit_code::bad_input,
                     fmt::format("{}: {}; all its faults: veltra db lint {}", name,
                                 describe_finding(each), platform::shell_word(name)));
  }
  const database_collection collection = read_database_file(path, {});
  const std::size_t count = collection.configs().size();
  std::string text = fmt::format("{}: {} database{}\n", platform::path_to_utf8(path), count,
                                 count == 1 ? "" : "s");
  append_line(text, "UUID", collection.uuid.empty() ? "none" : sanitize(collection.uuid));
  kovax::json json = {{"file", platform::path_to_utf8(path)},
                      {"uuid", collection.uuid},
                      {"decoder_configured_by", nullptr},
                      {"databases", kovax::json::array()}};
  const char* configured = "none: a decoder cannot be set up with this file";
  for (const char* const core : configured_cores) {
    if (!collection.find_decoder_config(core)) continue;
    configured = core;
    json["decoder_configured_by"] = core;
    break;
  }
  append_line(text, "decoder configured by", configured);
  for (const trace_db_config& database : collection.configs()) {
    append_database(text, database);
    json["databases"].push_back(to_json(database));
  }
  return {std::move(text), json.dump(2, ' ', false, kovax::json::error_handler_t::replace) + "\n",
          std::move(lint.findings)};
}

}  // namespace veltra::host
