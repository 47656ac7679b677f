#include "host/user_error.h"

#include <fmt/format.h>

#include <new>

#include "host/console.h"
#include "platform/message.h"
#include "platform/thread.h"

namespace veltra::host {

failure_line describe_failure(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const user_error& error) {
    return {fmt::format("veltra: {}\n", sanitize(platform::utf8_message(error.what()))),
            error.code()};
  } catch (const platform::thread_failure& error) {
    return {fmt::format("veltra: {}; end other programs, or raise the limits on processes and "
                        "memory (ulimit -u, ulimit -v).\n",
                        platform::utf8_message(error.what())),
            exit_code::run_failed};
  } catch (const std::bad_alloc&) {
    return {"veltra: out of memory; end other programs, or raise the limit (ulimit -v).\n",
            exit_code::run_failed};
  } catch (const std::exception& error) {
    return {fmt::format("veltra: internal error: {}; please report it with the command line.\n",
                        sanitize(platform::utf8_message(error.what()))),
            exit_code::internal};
  }
}

}  // namespace veltra::host
