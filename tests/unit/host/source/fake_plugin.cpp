// fake_plugin.cpp - a source plug-in that plays what a script says.
//
// The file in the place of the trace or of the serial port contains the script:
//   { "init": {"result": 1, "message": "..", "code": 1},   absent: init succeeds
//     "logs": ["..", null, {"level": 5, "message": ".."}], logged by init
//     "log_parameters": true,                              init logs its parameters
//     "steps": [
//       {"layer": "ip", "category": "network", "text": "..", "time": 5,
//        "metadata": "{}"},                                one packet; what is missing is null
//       {"times": 3, "layer": ..},                         the same packet several times
//       {"log": ".."},                                     one message, as above
//       {"wait_for_stops": 1},                             for so many calls of stop
//       {"wait_for_file": ".."} ],
//     "after_stop": [..],                                  steps; those above end with a stop
//     "stop_log": "..",                                    logged by stop, as above
//     "start": {"result": 100, "message": "..", "code": 100} }  absent: start succeeds
// A message of null, or none at all, is reported as a null pointer; without a
// "code" member nothing is reported.
#include <kovax/source.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "implementation/json.h"

using kovax::json;

struct kovax_source {
  json script;
  kovax_log_callback log = nullptr;
  void* log_user_data = nullptr;
  std::mutex mutex;
  std::condition_variable changed;
  int stops = 0;
  std::uint64_t sequence = 0;
};

namespace {

// Null for what is missing or no text.
const char* text_of(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_string() ? found->get_ptr<const std::string*>()->c_str()
                                                     : nullptr;
}

std::int32_t report(const json& ending, void* user_data, kovax_error_callback callback) {
  if (ending.contains("code")) {
    callback(user_data, {text_of(ending, "message"), ending.at("code").get<std::int32_t>()});
  }
  return ending.at("result").get<std::int32_t>();
}

bool is_stopped(kovax_source& source) {
  const std::lock_guard lock(source.mutex);
  return source.stops != 0;
}

void write_log(kovax_source& source, const json& line) {
  const json message = line.is_object() ? line : json{{"message", line}};
  source.log(&source, source.log_user_data,
             message.value("level", std::int32_t{KOVAX_LOG_PROGRESS}), text_of(message, "message"));
}

void play(kovax_source& source, const json& step, void* user_data, kovax_packet_callback callback) {
  if (step.contains("log")) return write_log(source, step.at("log"));
  if (step.contains("wait_for_stops")) {
    std::unique_lock lock(source.mutex);
    source.changed.wait(lock, [&] { return source.stops >= step.at("wait_for_stops").get<int>(); });
    return;
  }
  if (step.contains("wait_for_file")) {
    const std::filesystem::path file(
        reinterpret_cast<const char8_t*>(text_of(step, "wait_for_file")));
    while (!std::filesystem::exists(file)) std::this_thread::yield();
    return;
  }
  kovax_stream_packet_t packet{};
  const std::string payload = step.value("text", std::string());
  if (step.contains("text")) packet.data = reinterpret_cast<const std::uint8_t*>(payload.data());
  packet.data_size = static_cast<std::uint32_t>(payload.size());
  packet.format = text_of(step, "layer");
  packet.category = text_of(step, "category");
  packet.metadata = text_of(step, "metadata");
  packet.timestamp = step.value("time", std::uint64_t{0});
  for (std::uint64_t left = step.value("times", std::uint64_t{1}); left != 0; --left) {
    packet.sequence_number = ++source.sequence;
    callback(&source, user_data, packet);
  }
}

}  // namespace

std::int32_t kovax_source_init(kovax_source** source, const kovax_source_init_args* args) {
  auto made = std::make_unique<kovax_source>();
  const json parameters = json::parse(args->parameters);
  const json& input = parameters.contains("file_path") ? parameters.at("file_path")
                                                       : parameters.at("serialport").at("path");
  std::ifstream file(input.get<std::string>());
  made->script = json::parse(file);
  made->log = args->log;
  made->log_user_data = args->log_user_data;
  if (made->script.contains("log_parameters")) write_log(*made, args->parameters);
  if (made->script.contains("logs")) {
    for (const json& line : made->script.at("logs")) write_log(*made, line);
  }
  if (made->script.contains("init")) {
    const std::int32_t result = report(made->script.at("init"), args->error_user_data, args->error);
    if (result != KOVAX_RESULT_OK) return result;
  }
  *source = made.release();
  return KOVAX_RESULT_OK;
}

std::int32_t kovax_source_init_parameters(void* user_data, kovax_text_callback callback) {
  callback(user_data, "{}");
  return KOVAX_RESULT_OK;
}

std::int32_t kovax_source_start(kovax_source* source, void* user_data,
                                kovax_packet_callback callback) {
  for (const json& step : source->script.value("steps", json::array())) {
    if (is_stopped(*source)) break;
    play(*source, step, user_data, callback);
  }
  for (const json& step : source->script.value("after_stop", json::array())) {
    play(*source, step, user_data, callback);
  }
  return source->script.contains("start")
             ? source->script.at("start").at("result").get<std::int32_t>()
             : KOVAX_RESULT_OK;
}

std::int32_t kovax_source_stop(kovax_source* source) {
  if (source->script.contains("stop_log")) write_log(*source, source->script.at("stop_log"));
  const std::lock_guard lock(source->mutex);
  ++source->stops;
  source->changed.notify_all();
  return KOVAX_RESULT_OK;
}

std::int32_t kovax_source_release(kovax_source* source) {
  delete source;
  return KOVAX_RESULT_OK;
}

std::int32_t kovax_source_version(void* user_data, kovax_version_callback callback) {
  const kovax_version_t version{0, 0, 0};
  callback(user_data, &version);
  return KOVAX_RESULT_OK;
}

void kovax_source_get_last_error(kovax_source* source, void* user_data,
                                 kovax_error_callback callback) {
  report(source->script.at("start"), user_data, callback);
}
