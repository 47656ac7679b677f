#include "host/run/input.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "host/console.h"
#include "host/display/summary.h"
#include "host/run/plugin_failure.h"
#include "host/run/port_failure.h"
#include "host/source/literal_path.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

bool is_plain(unsigned char character) {
  return std::isalnum(character) != 0 || character == '.' || character == '_';
}

}  // namespace

kovax::json file_input::parameters() const {
  return {{"file_path", literal_path(platform::path_from_utf8(path_))}, {"log_statistics", true}};
}

provenance file_input::origin() const {
  return provenance_of_trace(platform::path_from_utf8(path_));
}

std::optional<user_error> file_input::explain_failure(const source_failure& /*failure*/,
                                                      std::string_view /*remark*/) const {
  return std::nullopt;
}

user_error file_input::explain_nothing(const run_statistics& statistics,
                                       const database_options& database) const {
  return explain_nothing_decoded(path_, database, statistics);
}

kovax::json serial_input::parameters() const {
  if (line_.follows_device && device_ == line_.port) {
    device_ =
        platform::path_to_utf8(platform::stable_device_name(platform::path_from_utf8(line_.port)));
  }
  const double stop_bits = line_.stop_bits == "1" ? 1 : line_.stop_bits == "2" ? 2 : 1.5;
  kovax::json serial_port = {{"path", literal_path(platform::path_from_utf8(device_))},
                             {"settings",
                              {{"baud_rate", line_.baud_rate},
                               {"data_bits", line_.data_bits},
                               {"stop_bits", stop_bits},
                               {"parity", line_.parity},
                               {"flow_control", line_.flow_control}}}};
  // Raw bytes come first and outlive a failure of the decoding.
  return {{"serialport", std::move(serial_port)}, {"recording", true}};
}

provenance serial_input::origin() const {
  return {{"port", sanitize(line_.port)},
          {"line", fmt::format("{} baud, {} data bits, {} stop bits, parity {}, flow control {}",
                               line_.baud_rate, line_.data_bits, line_.stop_bits, line_.parity,
                               line_.flow_control)}};
}

bool serial_input::may_come_back(const source_failure& failure) const {
  switch (failure.kind()) {
    case failure_kind::port_lost:
      return true;
    case failure_kind::port_not_opened:
    case failure_kind::port_settings_unknown:
      return platform::refusal_of(failure.message) != platform::port_refusal::not_serial;
    case failure_kind::port_settings_refused:
      // A port that vanishes while it is set up.
      return !is_there();
    default:
      return false;
  }
}

bool serial_input::is_there() const {
  return platform::device_exists(platform::path_from_utf8(device_));
}

std::optional<user_error> serial_input::explain_failure(const source_failure& failure,
                                                        std::string_view remark) const {
  return explain_port_failure(failure, line_.port, remark,
                              platform::find_device_holders(platform::path_from_utf8(line_.port)));
}

user_error serial_input::explain_nothing(const run_statistics& statistics,
                                         const database_options& database) const {
  const std::string bytes = format_bytes(static_cast<double>(statistics.raw_bytes()));
  const auto nothing = [](const std::string& text) {
    return user_error(exit_code::nothing_decoded, text);
  };
  if (statistics.raw_bytes() == 0) {
    return nothing(
        fmt::format("nothing arrived on {}; no capture was written. Check the port, its baud rate "
                    "and that the modem's trace is enabled.",
                    line_.port));
  }
  if (!database.cache.empty() && statistics.database_uuid().empty()) {
    return nothing(
        fmt::format("{} received on {} contain no database UUID; no capture was written. Start the "
                    "capture before the modem, or name the database with --database; a raw trace "
                    "(--raw) can be decoded later.",
                    bytes, line_.port));
  }
  return nothing(fmt::format(
      "{} came out of {} received on {}; no capture was written. Check the baud rate and that the "
      "database belongs to the modem's firmware.",
      nothing_but_losses(statistics), bytes, line_.port));
}

std::string port_name_part(const std::string& port) {
  constexpr std::string_view devices = "/dev/";
  std::string device = port;
  if (device.starts_with(devices)) device.erase(0, devices.size());
  std::replace_if(
      device.begin(), device.end(), [](unsigned char each) { return !is_plain(each); }, '-');
  device.erase(0, device.find_first_not_of("-."));
  return device.empty() ? "port" : device;
}

std::string default_series_name(const std::string& port, const std::string& extension) {
  return fmt::format("capture-{}.{}", port_name_part(port), extension);
}

std::string default_capture_name(const std::string& port, std::int64_t seconds_since_epoch,
                                 const std::string& extension) {
  return fmt::format("capture-{}-{:%Y%m%dT%H%M%SZ}.{}", port_name_part(port),
                     fmt::gmtime(static_cast<std::time_t>(seconds_since_epoch)), extension);
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
