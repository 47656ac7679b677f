#include "plugin/errors.h"

#include <kovax/source.h>

#include <exception>
#include <utility>

#include "platform/message.h"

namespace veltra {

void last_error::store(std::string message, std::int32_t code) {
  auto stored = std::make_shared<const value>(value{std::move(message), code});
  const std::lock_guard lock(mutex_);
  value_.swap(stored);
}

std::shared_ptr<const last_error::value> last_error::load() const {
  const std::lock_guard lock(mutex_);
  return value_;
}

std::int32_t run_guarded(last_error& error, const std::function<void()>& body) {
  try {
    body();
    return KOVAX_RESULT_OK;
  } catch (const veltra_exception& failure) {
    error.store(platform::utf8_message(failure.what()), failure.code());
    return failure.code();
  } catch (const std::exception& failure) {
    error.store(platform::utf8_message(failure.what()), KOVAX_RESULT_FAILED);
  } catch (...) {
    error.store("unknown error", KOVAX_RESULT_FAILED);
  }
  return KOVAX_RESULT_FAILED;
}

}  // namespace veltra
