#include "host/run/line_options.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <ctime>
#include <filesystem>
#include <limits>
#include <string_view>
#include <system_error>

#include "host/source/literal_path.h"
#include "host/commands/name_option.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

bool is_plain(unsigned char character) {
  return std::isalnum(character) != 0 || character == '.' || character == '_';
}

}  // namespace

void add_line_options(CLI::App& command, line_options& options) {
  names_something(command.add_option(
                      "--port,-p", options.port,
                      "Serial port, such as /dev/ttyUSB0 or COM3; \"veltra devices\" lists them"))
      ->required()
      ->type_name("DEV");
  command.add_option("--baud-rate", options.baud_rate, "Bits per second")
      ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()))
      ->capture_default_str();
  command.add_option("--data-bits", options.data_bits, "Data bits of a byte")
      ->check(CLI::Range(5U, 8U))
      ->capture_default_str();
  command.add_option("--stop-bits", options.stop_bits, "Stop bits of a byte")
      ->check(CLI::IsMember({"1", "1.5", "2"}))
      ->type_name("")
      ->capture_default_str();
  command.add_option("--parity", options.parity, "Parity bit")
      ->check(CLI::IsMember({"none", "odd", "even"}))
      ->type_name("")
      ->capture_default_str();
  command.add_option("--flow-control", options.flow_control, "sw is XON/XOFF, hw is RTS/CTS")
      ->check(CLI::IsMember({"none", "sw", "hw"}))
      ->type_name("")
      ->capture_default_str();
}

kovax::json serial_parameters(const line_options& options) {
  const double stop_bits = options.stop_bits == "1" ? 1 : options.stop_bits == "2" ? 2 : 1.5;
  return {{"path", literal_path(platform::path_from_utf8(options.port))},
          {"settings",
           {{"baud_rate", options.baud_rate},
            {"data_bits", options.data_bits},
            {"stop_bits", stop_bits},
            {"parity", options.parity},
            {"flow_control", options.flow_control}}}};
}

std::string default_capture_name(const line_options& options, std::int64_t seconds_since_epoch,
                                 const std::string& format) {
  constexpr std::string_view devices = "/dev/";
  std::string device = options.port;
  if (device.starts_with(devices)) device.erase(0, devices.size());
  std::replace_if(
      device.begin(), device.end(), [](unsigned char each) { return !is_plain(each); }, '-');
  device.erase(0, device.find_first_not_of("-."));
  return fmt::format("capture-{}-{:%Y%m%dT%H%M%SZ}.{}", device.empty() ? "port" : device,
                     fmt::gmtime(static_cast<std::time_t>(seconds_since_epoch)), format);
}

std::string name_without_file(const std::string& name) {
  std::filesystem::path path = platform::path_from_utf8(name);
  const std::string stem = platform::path_to_utf8(path.stem());
  const std::string extension = platform::path_to_utf8(path.extension());
  std::error_code ignored;
  for (int number = 2; std::filesystem::exists(path, ignored); ++number) {
    path.replace_filename(
        platform::path_from_utf8(fmt::format("{}-{}{}", stem, number, extension)));
  }
  return platform::path_to_utf8(path);
}

}  // namespace veltra::host
