#include <iterator>

#include "host/commands/commands.h"
#include "host/commands/machine_check.h"
#include "host/console.h"
#include "host/user_error.h"

namespace veltra::host {

exit_code check_machine(const doctor_options& options) {
  std::vector<check_result> results = check_plugin(options.plugin);
  const auto add = [&](std::vector<check_result> more) {
    std::move(more.begin(), more.end(), std::back_inserter(results));
  };
  add(check_ports(options.port, platform::list_serial_devices(), {}));
  add(check_databases(options.database));
  add(check_wireshark());
  print(options.as_json ? format_checks_json(results) : format_checks(results));
  if (would_capture(results)) return exit_code::ok;
  throw user_error(exit_code::bad_input,
                   "a capture would not work; do what is written under what failed.");
}

}  // namespace veltra::host
