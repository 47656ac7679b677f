#include "host/commands/capture_ports.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>

#include "host/output/output_failure.h"
#include "host/output/output_file.h"
#include "host/output/output_format.h"
#include "host/run/input.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// NAME-PORT.EXTENSION; of an empty name, which has a default, none.
std::string name_for_port(const std::string& name, const std::string& port) {
  if (name.empty()) return {};
  std::filesystem::path path = platform::path_from_utf8(name);
  const auto [stem, ending] = divide_name(path);
  path.replace_filename(platform::path_from_utf8(fmt::format("{}-{}{}", stem, port, ending)));
  return platform::path_to_utf8(path);
}

void check_for_several(const capture_options& options) {
  if (options.wireshark) {
    throw user_error(exit_code::usage,
                     "--wireshark shows one capture, and several ports make several; leave it "
                     "out.");
  }
  for (const std::string& output :
       {options.run.output.file, options.run.output.key_log, options.raw.value_or("")}) {
    const std::filesystem::path path = platform::path_from_utf8(output);
    if (output.empty() || !output_file::is_stream(path)) continue;
    throw user_error(exit_code::usage,
                     fmt::format("each port has files of its own, which {} cannot be; name a file.",
                                 output_name(path)));
  }
}

capture_options one_of_several(const capture_options& options, const std::string& part) {
  capture_options one = options;
  one.run.output.file = name_for_port(options.run.output.file, part);
  one.run.output.key_log = name_for_port(options.run.output.key_log, part);
  if (options.raw) one.raw = name_for_port(*options.raw, part);
  one.status_file = name_for_port(options.status_file, part);
  one.metrics_file = name_for_port(options.metrics_file, part);
  return one;
}

}  // namespace

std::vector<capture_options> split_by_port(const capture_options& options,
                                           const std::vector<std::string>& present) {
  const std::vector<std::string>& ports = options.all_ports ? present : options.ports;
  if (ports.empty()) {
    throw user_error(exit_code::bad_input,
                     "there is no serial port; plug in the modem or its adapter.");
  }
  const bool are_several = options.all_ports || ports.size() > 1;
  if (are_several) check_for_several(options);
  std::vector<capture_options> captures;
  std::map<std::string, std::string> port_of_part;
  for (const std::string& port : ports) {
    const std::string part = port_name_part(port);
    const auto [other, is_new] = port_of_part.emplace(part, port);
    if (!is_new) {
      throw user_error(exit_code::usage,
                       fmt::format("the files of {} and {} would have the same names; name each "
                                   "port once, or record one of them with a command of its own.",
                                   other->second, port));
    }
    captures.push_back(are_several ? one_of_several(options, part) : options);
    captures.back().line.port = port;
  }
  return captures;
}

}  // namespace veltra::host
