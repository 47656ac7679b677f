#include <CLI/CLI.hpp>
#include <memory>

#include "host/commands/commands.h"
#include "host/commands/shared_options.h"
#include "host/commands/subcommands.h"

namespace veltra::host {

void add_devices_command(CLI::App& parent, command& chosen) {
  CLI::App* const app = parent.add_subcommand(
      "devices", "List the serial ports, what is behind them and who has them open");
  const auto as_json = std::make_shared<bool>(false);
  app->add_flag("--json", *as_json, "For programs: a JSON array");
  app->callback([as_json, &chosen] { chosen = [as_json] { return list_devices(*as_json); }; });
}

void add_doctor_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<doctor_options>();
  CLI::App* const app =
      parent.add_subcommand("doctor", "Say whether a capture would work on this machine");
  require_nonempty(app->add_option("--port,-p", options->port, "Only this serial port"))
      ->type_name("DEV");
  database_options& database = options->database;
  require_nonempty(app->add_option("--cache", database.cache, "Directory of databases"))
      ->type_name("DIR");
  require_nonempty(app->add_option("--location", database.locations,
                                   "Where the cache's catalogue config.json is; may be given "
                                   "again, the best first"))
      ->allow_extra_args(false)
      ->type_name("URL");
  require_nonempty(app->add_option("--root", database.root, "What ${root} in a location means"))
      ->type_name("URL");
  app->add_option("--proxy", database.proxy, "Proxy for downloads, address with port")
      ->type_name("ADDRESS");
  add_plugin_option(*app, options->plugin);
  app->add_flag("--json", options->as_json, "For programs: a JSON object");
  app->footer("Example:\n  veltra doctor --port /dev/ttyUSB0 --cache databases");
  app->callback([options, &chosen] { chosen = [options] { return check_machine(*options); }; });
}

void add_wireshark_command(CLI::App& parent, command& chosen) {
  CLI::App* const wireshark = parent.add_subcommand(
      "wireshark", "Make modems interfaces of Wireshark, and install its profile for them");
  wireshark->require_subcommand(1);
  const auto options = std::make_shared<wireshark_options>();
  const auto add = [&](const char* name, const char* description,
                       exit_code (*work)(const wireshark_options&)) {
    CLI::App* const app = wireshark->add_subcommand(name, description);
    app->add_flag("--system", options->for_all_users, "For all users of this machine");
    app->callback(
        [options, work, &chosen] { chosen = [options, work] { return work(*options); }; });
    return app;
  };
  add("install", "Install both for you", install_for_wireshark)
      ->add_flag("--overwrite", options->overwrite, "Replace what was changed in the profile");
  add("uninstall", "Remove both, unless the profile was changed", uninstall_from_wireshark);
  add("status", "Say what is installed where", show_wireshark_installation);
}

}  // namespace veltra::host
