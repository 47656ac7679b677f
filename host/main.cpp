// veltra - turns a modem trace into a capture.
#include <exception>
#include <string>
#include <vector>

#include "host/commands/command_line.h"
#include "host/commands/extcap_command_line.h"
#include "host/console.h"
#include "host/user_error.h"
#include "platform/arguments.h"
#include "platform/console.h"

int main(int argc, char** argv) {
  const platform::console_setup console;
  try {
    const std::vector<std::string> arguments = platform::utf8_arguments(argc, argv);
    return static_cast<int>(veltra::host::is_extcap_call(arguments)
                                ? veltra::host::run_extcap_call(arguments)
                                : veltra::host::run_command_line(arguments));
  } catch (const std::exception&) {
    const veltra::host::failure_line failure =
        veltra::host::describe_failure(std::current_exception());
    veltra::host::print_message(failure.text);
    return static_cast<int>(failure.code);
  }
}
