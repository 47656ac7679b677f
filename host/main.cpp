// veltra - turns a modem trace into a capture.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "host/commands/command_line.h"
#include "host/commands/extcap_command_line.h"
#include "host/console.h"
#include "host/user_error.h"
#include "platform/arguments.h"
#include "platform/console.h"
#include "platform/message.h"

int main(int argc, char** argv) {
  using veltra::host::exit_code;
  using veltra::host::sanitize;

  const platform::console_setup console;
  try {
    const std::vector<std::string> arguments = platform::utf8_arguments(argc, argv);
    return static_cast<int>(veltra::host::is_extcap_call(arguments)
                                ? veltra::host::run_extcap_call(arguments)
                                : veltra::host::run_command_line(arguments));
  } catch (const veltra::host::user_error& error) {
    std::fprintf(stderr, "veltra: %s\n", sanitize(platform::utf8_message(error.what())).c_str());
    return static_cast<int>(error.code());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "veltra: internal error: %s; please report it with the command line.\n",
                 sanitize(platform::utf8_message(error.what())).c_str());
    return static_cast<int>(exit_code::internal);
  }
}
