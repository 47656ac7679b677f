#include "host/commands/machine_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "host/console.h"
#include "host/database/cache_report.h"
#include "host/database/guarded_policy.h"
#include "host/report/tshark_reader.h"
#include "host/run/port_failure.h"
#include "host/source/plugin_library.h"
#include "host/user_error.h"
#include "host/wireshark/installation.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "platform/process.h"
#include "platform/shell.h"

namespace veltra::host {

namespace {

const char* name_of(check_state state) {
  switch (state) {
    case check_state::ok:
      return "ok";
    case check_state::missing:
      return "missing";
    case check_state::failed:
      break;
  }
  return "failed";
}

check_result check_port(const platform::serial_device& device,
                        const platform::device_roots& roots) {
  check_result result{"port " + platform::path_to_utf8(device.path), check_state::ok, "free"};
  const platform::device_holders holders = platform::find_device_holders(device.path, roots);
  if (!holders.seen.empty()) {
    result.state = check_state::missing;
    result.found = "in use by " + list_holders(holders);
    result.advice = "end that program before a capture";
  } else if (!platform::may_open_device(device.path)) {
    result.state = check_state::missing;
    result.found = "no permission to open it";
    result.advice = "join the group that may, and log in again: sudo usermod -aG dialout \"$USER\"";
  } else if (!holders.known || !holders.complete) {
    result.found = "free, as far as visible";
  }
  return result;
}

check_result check_program(const char* name, const std::filesystem::path& file) {
  if (file.empty()) {
    return {name, check_state::missing, "not found",
            "install it to look at captures and for \"veltra report\""};
  }
  const std::string version = report::tshark_version(file);
  return {name, check_state::ok,
          fmt::format("{}{}", platform::path_to_utf8(file),
                      version.empty() ? "" : ", version " + version)};
}

check_result check_location(const database_options& options, const std::string& location) {
  const std::string subject = "location " + location;
  try {
    require_catalogue(options, location);
    return {subject, check_state::ok, "has a catalogue"};
  } catch (const std::exception& failure) {
    return {subject, check_state::missing, failure.what(), "check the address and the network"};
  }
}

}  // namespace

std::vector<check_result> check_plugin(const std::string& named) {
  try {
    const plugin_library plugin(platform::path_from_utf8(named));
    std::vector<check_result> results = {
        {"plug-in", check_state::ok,
         fmt::format("{}, version {}", platform::path_to_utf8(plugin.file()), plugin.version())}};
    const std::filesystem::path decoder = decoder_file();
    results.push_back({"decoder", check_state::ok,
                       decoder.empty() ? "under another name" : platform::path_to_utf8(decoder)});
    return results;
  } catch (const user_error& failure) {
    return {{"plug-in", check_state::failed, failure.what(), "install the program again"}};
  }
}

std::vector<check_result> check_ports(const std::string& port,
                                      const std::vector<platform::serial_device>& devices,
                                      const platform::device_roots& roots) {
  std::vector<check_result> results;
  if (!port.empty()) {
    platform::serial_device device;
    device.path = platform::path_from_utf8(port);
    std::error_code ignored;
    results.push_back(std::filesystem::exists(device.path, ignored)
                          ? check_port(device, roots)
                          : check_result{"port " + port, check_state::missing, "does not exist",
                                         "plug the modem in; \"veltra devices\" lists the ports"});
  } else {
    for (const platform::serial_device& device : devices) {
      results.push_back(check_port(device, roots));
    }
    if (results.empty()) {
      results.push_back({"ports", check_state::missing, "none",
                         "plug in the modem or its adapter, and check its driver"});
    }
  }
  const bool has_one = std::any_of(results.begin(), results.end(), [](const check_result& each) {
    return each.state == check_state::ok;
  });
  if (!has_one) {
    for (check_result& each : results) each.state = check_state::failed;
  }
  return results;
}

std::vector<check_result> check_wireshark() {
  std::vector<check_result> results = {
      check_program("Wireshark", platform::find_program("wireshark")),
      check_program("tshark", report::find_tshark({}))};
  try {
    // The launchers' lines, one for each folder, and the profile's.
    const std::string lines = describe(find_installation(false));
    const std::size_t profile = lines.rfind('\n', lines.size() - 2) + 1;
    const bool has_launcher = lines.substr(0, profile).find(": installed\n") != std::string::npos;
    const bool has_profile = lines.find(": installed", profile) != std::string::npos;
    const bool has_both = has_launcher && has_profile;
    results.push_back(
        {"extcap and profile", has_both ? check_state::ok : check_state::missing,
         fmt::format("extcap {}installed, profile {}installed", has_launcher ? "" : "not ",
                     has_profile ? "" : "not "),
         has_both ? "" : "make modems interfaces of Wireshark: veltra wireshark install"});
  } catch (const user_error& failure) {
    results.push_back({"extcap and profile", check_state::missing, failure.what()});
  }
  return results;
}

std::vector<check_result> check_databases(const database_options& options) {
  std::vector<check_result> results;
  if (!options.cache.empty()) {
    const std::string subject = "cache " + options.cache;
    const std::string verify = "veltra db verify --cache " + platform::shell_word(options.cache);
    try {
      const std::vector<cached_database> databases = look_at_cache(options);
      const auto intact = std::count_if(
          databases.begin(), databases.end(),
          [](const cached_database& each) { return each.state == database_state::intact; });
      const bool is_complete =
          !databases.empty() && static_cast<std::size_t>(intact) == databases.size();
      results.push_back({subject, is_complete ? check_state::ok : check_state::failed,
                         fmt::format("{} of {} databases intact", intact, databases.size()),
                         is_complete ? "" : "see what is missing with: " + verify});
    } catch (const user_error& failure) {
      results.push_back({subject, check_state::failed, failure.what()});
    }
  }
  for (const std::string& location : options.locations) {
    results.push_back(check_location(options, location));
  }
  return results;
}

std::string format_checks(const std::vector<check_result>& results) {
  std::string text;
  for (const check_result& each : results) {
    fmt::format_to(std::back_inserter(text), "{:<8}{}: {}\n", name_of(each.state),
                   sanitize(each.subject), sanitize(each.found));
    if (!each.advice.empty()) {
      fmt::format_to(std::back_inserter(text), "{:8}{}\n", "", sanitize(each.advice));
    }
  }
  return text;
}

std::string format_checks_json(const std::vector<check_result>& results) {
  kovax::json checks = kovax::json::array();
  for (const check_result& each : results) {
    checks.push_back({{"subject", each.subject},
                      {"state", name_of(each.state)},
                      {"found", each.found},
                      {"advice", each.advice}});
  }
  const kovax::json report = {{"works", would_capture(results)}, {"checks", std::move(checks)}};
  return report.dump(2, ' ', false, kovax::json::error_handler_t::replace) + "\n";
}

bool would_capture(const std::vector<check_result>& results) {
  return std::none_of(results.begin(), results.end(),
                      [](const check_result& each) { return each.state == check_state::failed; });
}

}  // namespace veltra::host
