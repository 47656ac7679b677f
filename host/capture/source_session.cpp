#include "host/capture/source_session.h"

#include <utility>

namespace veltra::host {

namespace {

void keep_failure(void* user_data, kovax_error_t error) {
  *static_cast<source_failure*>(user_data) = {error.code, error.message};
}

}  // namespace

source_session::source_session(const plugin_library& plugin, log_handler log)
    : plugin_(plugin), log_(std::move(log)) {}

source_session::~source_session() {
  plugin_.release(source_);
}

source_failure source_session::init(const std::string& parameters) {
  source_failure failure;
  const kovax_source_init_args args{parameters.c_str(), this, take_log, &failure, keep_failure};
  const std::int32_t result = plugin_.init(&source_, &args);
  if (result != KOVAX_RESULT_OK && !failure) failure = {result, "no reason given"};
  return failure;
}

source_failure source_session::run(packet_handler handle) {
  handle_ = std::move(handle);
  thrown_ = nullptr;
  const std::int32_t result = plugin_.start(source_, this, take_packet);
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  source_failure failure;
  if (result != KOVAX_RESULT_OK) plugin_.get_last_error(source_, &failure, keep_failure);
  return failure;
}

void source_session::stop() {
  plugin_.stop(source_);
}

void source_session::take_packet(kovax_source* /*source*/, void* user_data,
                                 kovax_stream_packet_t record) {
  auto& session = *static_cast<source_session*>(user_data);
  if (session.thrown_) return;  // the run is about to end
  try {
    session.handle_(make_packet(record));
  } catch (...) {
    session.thrown_ = std::current_exception();
    session.stop();
  }
}

void source_session::take_log(kovax_source* /*source*/, void* user_data, std::int32_t level,
                              const char* message) {
  const auto& session = *static_cast<source_session*>(user_data);
  if (session.log_) session.log_(level, message);
}

}  // namespace veltra::host
