#include "host/commands/commands.h"
#include "host/console.h"
#include "host/wireshark/installation.h"

namespace veltra::host {

exit_code install_for_wireshark(const wireshark_options& options) {
  print(install(find_installation(options.for_all_users), options.overwrite));
  return exit_code::ok;
}

exit_code uninstall_from_wireshark(const wireshark_options& options) {
  print(uninstall(find_installation(options.for_all_users)));
  return exit_code::ok;
}

exit_code show_wireshark_installation(const wireshark_options& options) {
  print(describe(find_installation(options.for_all_users)));
  return exit_code::ok;
}

}  // namespace veltra::host
