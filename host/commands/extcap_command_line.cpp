#include "host/commands/extcap_command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/commands/shared_options.h"
#include "host/console.h"
#include "host/user_error.h"
#include "host/wireshark/extcap_capture.h"
#include "host/wireshark/extcap_sentences.h"
#include "platform/file.h"
#include "platform/serial_devices.h"

namespace veltra::host {

namespace {

struct extcap_call {
  bool lists_interfaces = false;
  bool shows_config = false;
  bool lists_link_types = false;
  bool captures = false;
  std::string interface;
  extcap_capture_options capture;
};

void add_options(CLI::App& app, extcap_call& call) {
  app.add_flag("--extcap-interfaces", call.lists_interfaces, "List the interfaces");
  app.add_flag("--extcap-config", call.shows_config, "List the options of an interface");
  app.add_flag("--extcap-dlts", call.lists_link_types, "List the link types of an interface");
  app.add_flag("--capture", call.captures, "Capture from an interface");
  app.add_option("--extcap-interface", call.interface, "The interface");
  app.add_option("--fifo", call.capture.fifo, "Where the capture goes");
  app.add_option("--extcap-control-out", call.capture.control_out, "Where the toolbar reads");
  app.add_option("--port", call.capture.line.port, "Serial port, unless the interface has one");
  add_line_settings(app, call.capture.line);
  add_database_options(app, call.capture.run.database);
  app.add_option("--raw-dir", call.capture.raw_directory, "Folder for the raw trace");
  app.add_option("--plugin", call.capture.run.plugin, "Plug-in to load");
}

// Without the options to which Wireshark gives an empty text: fields that nobody filled.
std::vector<std::string> filled_options(const std::vector<std::string>& arguments) {
  std::vector<std::string> filled;
  for (const std::string& argument : arguments) {
    if (!argument.empty()) {
      filled.push_back(argument);
    } else if (!filled.empty() && filled.back().starts_with("--")) {
      filled.pop_back();
    }
  }
  return filled;
}

// Parses `filled`, the arguments with a value.
void parse(CLI::App& app, const std::vector<std::string>& filled) {
  std::vector<const char*> words;
  for (const std::string& argument : filled) words.push_back(argument.c_str());
  try {
    app.parse(static_cast<int>(words.size()), words.data());
  } catch (const CLI::CallForHelp&) {
    throw;
  } catch (const CLI::ParseError& error) {
    throw user_error(exit_code::usage,
                     fmt::format("{}; change it in the interface's options.", error.what()));
  }
}

// The value of an option of Wireshark's own, whatever else is wrong; empty if there is none.
std::string value_of(const std::vector<std::string>& filled, std::string_view option) {
  const auto found = std::find(filled.begin(), filled.end(), option);
  return found != filled.end() && found + 1 != filled.end() ? *(found + 1) : std::string();
}

exit_code answer(extcap_call& call, const CLI::App& app) {
  if (call.lists_interfaces) {
    print(format_interfaces(platform::list_serial_devices()));
  } else if (call.shows_config) {
    print(format_config(call.interface));
  } else if (call.lists_link_types) {
    print(format_dlts(call.interface));
  } else if (call.captures) {
    std::string& port = call.capture.line.port;
    if (port.empty()) port = port_of_interface(call.interface, platform::list_serial_devices());
    return capture_for_wireshark(call.capture);
  } else {
    print(app.help());
  }
  return exit_code::ok;
}

}  // namespace

bool is_extcap_call(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return false;
  const std::filesystem::path program = platform::path_from_utf8(arguments.front());
  return program.stem() == "veltra-extcap" ||
         std::any_of(arguments.begin() + 1, arguments.end(),
                     [](const std::string& argument) { return argument.starts_with("--extcap-"); });
}

exit_code run_extcap_call(const std::vector<std::string>& arguments) {
  CLI::App app{"veltra-extcap - shows the traces of LTE modems as interfaces of Wireshark",
               "veltra-extcap"};
  app.allow_windows_style_options(false);
  app.allow_extras();  // later versions of Wireshark may say more than these need
  extcap_call call;
  // A read returns as soon as a byte is there.
  call.capture.run.chunk_size = 1;
  add_options(app, call);
  const std::vector<std::string> filled = filled_options(arguments);
  open_pipes(value_of(filled, "--fifo"), value_of(filled, "--extcap-control-in"));
  try {
    parse(app, filled);
  } catch (const CLI::CallForHelp&) {
    print(app.help());
    return exit_code::ok;
  }
  return answer(call, app);
}

}  // namespace veltra::host
