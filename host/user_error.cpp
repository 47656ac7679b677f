#include "host/user_error.h"

#include <fmt/format.h>

#include "host/console.h"
#include "platform/message.h"

namespace veltra::host {

failure_line describe_failure(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const user_error& error) {
    return {fmt::format("veltra: {}\n", sanitize(platform::utf8_message(error.what()))),
            error.code()};
  } catch (const std::exception& error) {
    return {fmt::format("veltra: internal error: {}; please report it with the command line.\n",
                        platform::utf8_message(error.what())),
            exit_code::internal};
  }
}

}  // namespace veltra::host
