#include "host/source/source_session.h"

#include <string_view>
#include <utility>

namespace veltra::host {

namespace {

std::string_view text_of(const char* text) {
  return text != nullptr ? std::string_view(text) : std::string_view();
}

// What a function reported that ended with `result`.
class reported_failure {
 public:
  static void take(void* user_data, kovax_error_t error) {
    auto& self = *static_cast<reported_failure*>(user_data);
    self.failure_ = {error.code, std::string(text_of(error.message))};
  }

  source_failure with_result(std::int32_t result) && {
    if (result == KOVAX_RESULT_OK) return {};
    // A failure stays one, whatever its report lacks.
    if (failure_.code == 0) failure_.code = result;
    if (failure_.message.empty()) failure_.message = "no reason given";
    return std::move(failure_);
  }

 private:
  source_failure failure_;
};

}  // namespace

source_session::source_session(const plugin_library& plugin, source_listener& listener)
    : plugin_(plugin), listener_(listener) {}

source_session::~source_session() {
  plugin_.release(source_);
}

source_failure source_session::init(const std::string& parameters) {
  reported_failure reported;
  const kovax_source_init_args args{parameters.c_str(), this, take_log, &reported,
                                    reported_failure::take};
  const std::int32_t result = plugin_.init(&source_, &args);
  return std::move(reported).with_result(result);
}

source_failure source_session::run() {
  thrown_ = nullptr;
  const std::int32_t result = plugin_.start(source_, this, take_packet);
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  reported_failure reported;
  if (result != KOVAX_RESULT_OK) plugin_.get_last_error(source_, &reported, reported_failure::take);
  return std::move(reported).with_result(result);
}

void source_session::stop() {
  plugin_.stop(source_);
}

void source_session::take_packet(kovax_source* /*source*/, void* user_data,
                                 kovax_stream_packet_t record) {
  auto& session = *static_cast<source_session*>(user_data);
  if (session.thrown_) return;  // the run is about to end
  try {
    session.listener_.on_packet(make_packet(record));
  } catch (...) {
    session.thrown_ = std::current_exception();
    session.stop();
  }
}

void source_session::take_log(kovax_source* /*source*/, void* user_data, std::int32_t level,
                              const char* message) {
  const auto& session = *static_cast<source_session*>(user_data);
  try {
    session.listener_.on_message(level, text_of(message));
  } catch (...) {
    // A message that cannot be shown does not end the work it describes.
  }
}

}  // namespace veltra::host
