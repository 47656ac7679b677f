#include "plugin/init_parameters.h"

#include <filesystem>
#include <stdexcept>

#include "implementation/json_numbers.h"
#include "platform/file.h"
#include "plugin/database/cache_sync.h"
#include "plugin/database/file_io.h"
#include "plugin/path_parameter.h"

namespace veltra {

namespace {

using kovax::json;

constexpr const char* no_input = "veltra plugin missing trace file path or serialport";

// The path that `key` names, UTF-8, or an empty text when none is named. Throws
// std::runtime_error `if_missing` if nothing is there.
std::string existing_path(const json& parameters, const char* key, const char* if_missing) {
  const std::filesystem::path path = resolve_path_parameter(parameters, key);
  if (!path.empty() && !path_exists(path)) throw std::runtime_error(if_missing);
  return platform::path_to_utf8(path);
}

std::uint64_t read_chunk_size(const json& parameters, std::uint64_t otherwise) {
  if (!parameters.contains("chunk_size")) return otherwise;
  const std::uint64_t size = kovax::to_u64(parameters.at("chunk_size"));
  if (size == 0) throw std::runtime_error("chunk_size must be at least 1");
  return size;
}

// A database that is named makes looking for one unnecessary.
bool finds_database_itself(const json& parameters, const source_settings& settings) {
  return settings.database_file.empty() && parameters.contains("auto_detect_db_config") &&
         parameters.at("auto_detect_db_config").contains("cache_directory");
}

}  // namespace

init_parameters read_init_parameters(const char* text, const host_log& log) {
  if (text == nullptr || *text == '\0') throw std::runtime_error(no_input);
  const json parameters = json::parse(text);

  init_parameters result;
  source_settings& settings = result.settings;
  settings.log = log;
  result.trace_file = existing_path(parameters, "file_path", "trace file does not exist");
  zet_serialport_lib::parse_serial_port_parameters(parameters, settings.serial_port,
                                                   settings.serial_settings, expand_env_variables);
  settings.database_file =
      existing_path(parameters, "db_file_path", "database file does not exist");
  settings.chunk_size = read_chunk_size(parameters, settings.chunk_size);
  if (parameters.contains("recording")) {
    settings.recording = parameters.at("recording").get<bool>();
  }
  if (finds_database_itself(parameters, settings)) {
    sync_log listener(log);
    sync_database_cache(listener, parameters.at("auto_detect_db_config"),
                        settings.database_directories, expand_env_variables);
  }
  if (result.trace_file.empty() && settings.serial_port.empty()) {
    throw std::runtime_error(no_input);
  }
  return result;
}

}  // namespace veltra
