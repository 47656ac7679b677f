#include <CLI/CLI.hpp>
#include <string>

#include "host/commands/command.h"
#include "host/console.h"
#include "host/commands/device_list.h"

namespace veltra::host {

void add_devices_command(CLI::App& app, command& chosen) {
  CLI::App* const devices_app = app.add_subcommand(
      "devices", "List the serial ports, what is behind them and who has them open");
  devices_app->callback([&chosen] {
    chosen = [] {
      const std::string list = format_devices(platform::list_serial_devices(), {});
      if (list.empty()) {
        tell("veltra: there is no serial port; plug the modem or its adapter in.\n");
      }
      print(list);
      return exit_code::ok;
    };
  });
}

}  // namespace veltra::host
