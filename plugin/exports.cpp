// The bridge between the C interface and the plug-in: nothing is decided here,
// and nothing is thrown out of here.
#include <kovax/source.h>

#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "platform/message.h"
#include "plugin/errors.h"
#include "plugin/init_parameters.h"
#include "plugin/veltra_object.h"

namespace {

using veltra::veltra_object;

constexpr kovax_version_t version{0, 14, 2};

// Runs `body`; KOVAX_RESULT_FAILED when it throws.
template <typename Body>
std::int32_t failed_if_thrown(const Body& body) noexcept {
  try {
    return body();
  } catch (...) {
    return KOVAX_RESULT_FAILED;
  }
}

void report_init_failure(const kovax_source_init_args& args, const char* message) noexcept {
  if (args.error == nullptr) return;
  std::string text;
  try {
    text = platform::utf8_message(message);
    message = text.c_str();
  } catch (...) {
    // Without memory the text goes out as it is.
  }
  try {
    args.error(args.error_user_data, {message, KOVAX_RESULT_INIT_FAILED});
  } catch (...) {
  }
}

}  // namespace

extern "C" {

std::int32_t kovax_source_init(kovax_source** source, const kovax_source_init_args* args) {
  try {
    veltra::source_settings settings =
        veltra::read_init_parameters(args->parameters, {args->log, args->log_user_data});
    auto object = std::make_unique<veltra_object>(std::move(settings));
    object->open_input();
    *source = object.release()->handle();
    return KOVAX_RESULT_OK;
  } catch (const std::exception& failure) {
    report_init_failure(*args, failure.what());
  } catch (...) {
    report_init_failure(*args, "unknown error from veltra plugin");
  }
  return KOVAX_RESULT_INIT_FAILED;
}

std::int32_t kovax_source_init_parameters(void* user_data, kovax_text_callback callback) {
  return failed_if_thrown([&] {
    callback(user_data, veltra::init_parameters_schema);
    return KOVAX_RESULT_OK;
  });
}

std::int32_t kovax_source_start(kovax_source* source, void* packet_user_data,
                                kovax_packet_callback callback) {
  return failed_if_thrown([&] {
    veltra_object& object = veltra_object::from_handle(source);
    return veltra::run_guarded(object.error(), [&] { object.run(packet_user_data, callback); });
  });
}

std::int32_t kovax_source_stop(kovax_source* source) {
  return failed_if_thrown([&] {
    veltra_object& object = veltra_object::from_handle(source);
    return veltra::run_guarded(object.error(), [&] { object.stop(); });
  });
}

std::int32_t kovax_source_release(kovax_source* source) {
  return failed_if_thrown([&] {
    if (source == nullptr) return KOVAX_RESULT_OK;
    const std::unique_ptr<veltra_object> object(&veltra_object::from_handle(source));
    object->delete_decoder();
    return KOVAX_RESULT_OK;
  });
}

std::int32_t kovax_source_version(void* user_data, kovax_version_callback callback) {
  return failed_if_thrown([&] {
    callback(user_data, &version);
    return KOVAX_RESULT_OK;
  });
}

void kovax_source_get_last_error(kovax_source* source, void* user_data,
                                 kovax_error_callback callback) {
  failed_if_thrown([&] {
    const auto error = veltra_object::from_handle(source).error().load();
    callback(user_data, {error->message.c_str(), error->code});
    return KOVAX_RESULT_OK;
  });
}

}  // extern "C"
