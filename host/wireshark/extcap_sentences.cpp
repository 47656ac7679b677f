#include "host/wireshark/extcap_sentences.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/run/run_options.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::string_view device_prefix = "veltra-";

// Braces would end a value early.
std::string value_text(std::string text) {
  std::replace(text.begin(), text.end(), '{', '(');
  std::replace(text.begin(), text.end(), '}', ')');
  return text;
}

std::string interface_of(const platform::serial_device& device) {
  return std::string(device_prefix) + platform::path_to_utf8(device.path.filename());
}

// A device with several ports is several interfaces, so the port is part of the name.
std::string display_name(const platform::serial_device& device) {
  std::string name = device.manufacturer;
  if (!name.empty() && !device.product.empty()) name += ' ';
  name += device.product;
  if (name.empty()) name = "Serial port";
  name += " on " + platform::path_to_utf8(device.path.filename());
  if (!device.serial_number.empty()) name += ", serial number " + device.serial_number;
  return value_text(name);
}

struct choice {
  std::string_view value;
  std::string_view display;
};

// Writes the sentences of a dialog, which number its fields.
class dialog {
 public:
  // `more`: further parts of the sentence, such as {default=8}.
  void add(std::string_view option, std::string_view display, std::string_view type,
           std::string_view group, std::string_view tooltip, std::string_view more = {}) {
    fmt::format_to(std::back_inserter(text_),
                   "arg {{number={}}}{{call={}}}{{display={}}}{{type={}}}{{group={}}}{{tooltip={}}}"
                   "{}\n",
                   number_++, option, display, type, group, tooltip, more);
  }

  void add_choices(std::string_view preset, std::initializer_list<choice> choices) {
    for (const choice& each : choices) {
      fmt::format_to(std::back_inserter(text_), "value {{arg={}}}{{value={}}}{{display={}}}{}\n",
                     number_ - 1, each.value, each.display,
                     each.value == preset ? "{default=true}" : "");
    }
  }

  std::string text() && { return std::move(text_); }

 private:
  std::string text_;
  int number_ = 0;
};

void add_port_fields(dialog& fields, bool with_port) {
  constexpr std::string_view group = "Port";
  const line_options presets;
  if (with_port) {
    fields.add("--port", "Port", "string", group,
               "Serial port of the modem's trace, such as /dev/ttyUSB0 or COM3",
               "{required=true}{placeholder=/dev/ttyUSB0}");
  }
  fields.add("--baud-rate", "Baud rate", "unsigned", group, "Bits per second",
             fmt::format("{{default={}}}", presets.baud_rate));
  fields.add("--data-bits", "Data bits", "selector", group, "Data bits of a byte");
  fields.add_choices(std::to_string(presets.data_bits),
                     {{"8", "8"}, {"7", "7"}, {"6", "6"}, {"5", "5"}});
  fields.add("--stop-bits", "Stop bits", "selector", group, "Stop bits of a byte");
  fields.add_choices(presets.stop_bits, {{"1", "1"}, {"1.5", "1.5"}, {"2", "2"}});
  fields.add("--parity", "Parity", "selector", group, "Parity bit");
  fields.add_choices(presets.parity, {{"none", "none"}, {"odd", "odd"}, {"even", "even"}});
  fields.add("--flow-control", "Flow control", "selector", group, "Handshake of the line");
  fields.add_choices(presets.flow_control,
                     {{"none", "none"}, {"sw", "XON/XOFF"}, {"hw", "RTS/CTS"}});
}

void add_database_fields(dialog& fields) {
  constexpr std::string_view group = "Trace database";
  fields.add("--database", "Database file", "fileselect", group,
             "Trace database of the modem's firmware, unless a cache is named",
             "{mustexist=true}{fileext=Trace databases (*.json *.gz)}");
  fields.add("--cache", "or cache directory", "string", group,
             "Directory of databases, searched for the UUID in the trace");
  fields.add("--location", "Catalogue's location", "string", group,
             "Where the cache's catalogue config.json is: a directory or an address");
  fields.add("--root", "Root of locations", "string", group,
             "What ${root} in a location or the catalogue means");
  fields.add("--update", "Fetch the catalogue before starting", "boolflag", group,
             "Needs the catalogue's location", "{default=false}");
}

void add_recording_fields(dialog& fields) {
  fields.add("--raw-dir", "Raw trace into folder", "string", "Recording",
             "Keeps the raw trace there as it comes, as capture-PORT-TIME.trace, for a later "
             "\"veltra decode\"");
}

}  // namespace

std::string format_interfaces(const std::vector<platform::serial_device>& devices) {
  std::string text = "extcap {version=" VELTRA_VERSION "}{display=LTE modem traces}\n";
  const auto out = std::back_inserter(text);
  for (const platform::serial_device& device : devices) {
    fmt::format_to(out, "interface {{value={}}}{{display={}}}\n", interface_of(device),
                   display_name(device));
  }
  fmt::format_to(out, "interface {{value={}}}{{display=LTE modem on another port}}\n",
                 other_port_interface);
  fmt::format_to(out,
                 "control {{number={}}}{{type=button}}{{role=logger}}{{display=Log}}"
                 "{{tooltip=Messages of the capture}}\n"
                 "control {{number={}}}{{type=string}}{{display=State}}"
                 "{{tooltip=What came so far}}\n",
                 log_control, state_control);
  return text;
}

std::string format_config(std::string_view interface) {
  dialog fields;
  add_port_fields(fields, interface == other_port_interface);
  add_database_fields(fields);
  add_recording_fields(fields);
  return std::move(fields).text();
}

std::string format_dlts(std::string_view interface) {
  return fmt::format("dlt {{number=252}}{{name={}}}{{display=LTE modem trace}}\n", interface);
}

std::string port_of_interface(std::string_view interface,
                              const std::vector<platform::serial_device>& devices) {
  const auto found = std::find_if(
      devices.begin(), devices.end(),
      [&](const platform::serial_device& device) { return interface_of(device) == interface; });
  if (found != devices.end()) return platform::path_to_utf8(found->path);
  if (!interface.starts_with(device_prefix)) return {};
  return std::string(interface.substr(device_prefix.size()));
}

}  // namespace veltra::host
