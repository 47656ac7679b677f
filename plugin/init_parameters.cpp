#include "plugin/init_parameters.h"

#include <filesystem>
#include <stdexcept>

#include "implementation/json_document.h"
#include "implementation/json_values.h"
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

// A longer one would fill any driver's queue.
std::chrono::milliseconds read_rest(const json& milliseconds) {
  return std::chrono::milliseconds(std::min<std::uint64_t>(kovax::to_u64(milliseconds), 1000));
}

// A database that is named makes looking for one unnecessary.
bool finds_database_itself(const json& parameters, const source_settings& settings) {
  return settings.database_file.empty() && parameters.contains("auto_detect_db_config") &&
         parameters.at("auto_detect_db_config").contains("cache_directory");
}

}  // namespace

source_settings read_init_parameters(const char* text, const host_log& log) {
  if (text == nullptr || *text == '\0') throw std::runtime_error(no_input);
  const kovax::json_document document(text);
  const json& parameters = document.root();

  source_settings settings;
  settings.log = log;
  settings.trace_file = existing_path(parameters, "file_path", "trace file does not exist");
  zet_serialport_lib::parse_serial_port_parameters(parameters, settings.serial_port,
                                                   settings.serial_settings, expand_env_variables);
  settings.database_file =
      existing_path(parameters, "db_file_path", "database file does not exist");
  settings.chunk_size = read_chunk_size(parameters, settings.chunk_size);
  if (parameters.contains("file_stream")) {
    settings.file_stream = parameters.at("file_stream").get<bool>();
  }
  if (parameters.contains("recording")) {
    settings.recording = parameters.at("recording").get<bool>();
  }
  if (parameters.contains("recording_rest")) {
    settings.recording_rest = read_rest(parameters.at("recording_rest"));
  }
  if (parameters.contains("log_statistics")) {
    settings.log_statistics = parameters.at("log_statistics").get<bool>();
  }
  if (finds_database_itself(parameters, settings)) {
    sync_log listener(log);
    sync_database_cache(listener, parameters.at("auto_detect_db_config"),
                        settings.database_directories, expand_env_variables);
  }
  if (settings.trace_file.empty() && settings.serial_port.empty()) {
    throw std::runtime_error(no_input);
  }
  return settings;
}

// One line: two blanks replace the line break and the indentation of each line of the
// printed document.
const char* const init_parameters_schema =
    R"({)"
    R"(  "$schema": "https://json-schema.org/draft/2020-12/schema",)"
    R"(  "title": "veltra init parameters",)"
    R"(  "type": "object",)"
    R"(  "additionalProperties": false,)"
    R"(  "required": ["init_parameters"],)"
    R"(  "properties": {)"
    R"(  "name": { "const": "kovax-veltra-source" },)"
    R"(  "path": { "type": "string" },)"
    R"(  "init_parameters": {)"
    R"(  "type": "object",)"
    R"(  "additionalProperties": false,)"
    R"(  "properties": {)"
    R"(  "file_path": { "type": "string", "description": "path to trace file bin" },)"
    R"(  "serialport": {)"
    R"(  "type": "object",)"
    R"(  "description": "serialport settings",)"
    R"(  "additionalProperties": false,)"
    R"(  "required": ["path"],)"
    R"(  "properties": {)"
    R"(  "path": { "type": "string", "description": "path or name for serialport device" },)"
    R"(  "settings": {)"
    R"(  "type": "object",)"
    R"(  "description": "settings for serialport for modem trace baudrate needs to be 1000000 ",)"
    R"(  "properties": {)"
    R"(  "baud_rate": { "type": "integer" },)"
    R"(  "data_bits": { "type": "integer", "minimum": 5, "maximum": 12, "exclusiveMaximum": true },)"
    R"(  "stop_bits": { "type": "string", "enum": ["1", "1.5", "2"] },)"
    R"(  "parity": { "type": "string", "enum": ["none", "even", "odd"] },)"
    R"(  "flow_control": { "type": "string", "enum": ["none", "hw", "sw"] })"
    R"(  })"
    R"(  })"
    R"(  })"
    R"(  },)"
    R"(  "db_file_path": {)"
    R"(  "type": "string",)"
    R"(  "description": "path to db.tar.gz or json file overwrites auto_detect_db_config if present")"
    R"(  },)"
    R"(  "chunk_size": {)"
    R"(  "type": "integer",)"
    R"(  "description": "change file/serialport buffer size default = 1024")"
    R"(  },)"
    R"(  "auto_detect_db_config": {)"
    R"(  "type": "object",)"
    R"(  "additionalProperties": false,)"
    R"(  "required": ["cache_directory"],)"
    R"(  "properties": {)"
    R"(  "trace_db_locations": {)"
    R"(  "type": "array",)"
    R"(  "description": "download priority list of config.json")"
    R"(  },)"
    R"(  "cache_directory": { "type": "string", "description": "cache directory location" },)"
    R"(  "update_cache": { "type": "boolean", "description": "try to update config.json" },)"
    R"(  "proxy_setting": { "type": "string", "description": "proxy address with port" },)"
    R"(  "root": {)"
    R"(  "type": "string",)"
    R"(  "description": "root path (uri/url like http://path or file://fs_path etc.) )"
    R"(for trace_db_locations and config.json paths")"
    R"(  })"
    R"(  })"
    R"(  })"
    R"(  })"
    R"(  })"
    R"(  })"
    R"(})";

}  // namespace veltra
