#include "host/database/database_summary.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <iterator>
#include <system_error>

#include "host/console.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "plugin/trace_db.h"

namespace veltra::host {

namespace {

// The names of the records whose decoder configuration is used, the first that
// is there.
constexpr const char* configured_cores[] = {"MCU", "M4"};

// Why the file cannot be opened; no error if it can.
std::error_code read_error(const std::filesystem::path& path) {
  std::FILE* const file = platform::open_file(path, platform::open_mode::read);
  if (file == nullptr) return {errno, std::generic_category()};
  std::fclose(file);
  return {};
}

database_collection read_databases(const std::filesystem::path& path) {
  try {
    return read_database_file(path, {});
  } catch (const std::exception& failure) {
    std::error_code error;
    const bool there = std::filesystem::exists(path, error);
    if (!there && !error) {
      throw user_error(exit_code::bad_input, fmt::format("there is no file {}; check the name.",
                                                         platform::path_to_utf8(path)));
    }
    if (!error) error = read_error(path);
    if (error) {
      throw user_error(
          exit_code::bad_input,
          fmt::format("{} cannot be read: {}; check that it is a file and its "
                      "permissions.",
                      platform::path_to_utf8(path), error.default_error_condition().message()));
    }
    throw user_error(exit_code::bad_input,
                     fmt::format("{}: {}; give a trace database, .json or .tar.gz.",
                                 platform::path_to_utf8(path), failure.what()));
  }
}

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

}  // namespace

std::string summarize_database_file(const std::filesystem::path& path) {
  const database_collection collection = read_databases(path);
  const std::size_t count = collection.configs().size();
  std::string text = fmt::format("{}: {} database{}\n", platform::path_to_utf8(path), count,
                                 count == 1 ? "" : "s");
  append_line(text, "UUID", collection.uuid.empty() ? "none" : sanitize(collection.uuid));
  const char* configured = "none: a decoder cannot be set up with this file";
  for (const char* const core : configured_cores) {
    if (!collection.find_decoder_config(core)) continue;
    configured = core;
    break;
  }
  append_line(text, "decoder configured by", configured);
  for (const trace_db_config& database : collection.configs()) append_database(text, database);
  return text;
}

}  // namespace veltra::host
