#include "host/run/port_failure.h"

#include <fmt/format.h>

#include <string_view>

namespace veltra::host {

namespace {

// The system's own words in `message`, without the name of an interface of one system
// that the plug-in's text has in front of them.
std::string_view system_reason(std::string_view message) {
  constexpr std::string_view end_of_operation = " error: ";
  const std::size_t begin = message.find("message: Win32 ");
  if (begin == std::string_view::npos) return message;
  const std::size_t end = message.find(end_of_operation, begin);
  return end == std::string_view::npos ? message : message.substr(end + end_of_operation.size());
}

user_error not_a_serial_port(const std::string& port) {
  return {exit_code::bad_input,
          fmt::format("{} is not a serial port; \"veltra devices\" lists those there are.", port)};
}

user_error explain_refusal(const std::string& message, const std::string& port,
                           const platform::device_holders& holders) {
  using platform::port_refusal;
  const auto refuse = [](const std::string& text) {
    return user_error(exit_code::bad_input, text);
  };
  switch (platform::refusal_of(message)) {
    case port_refusal::missing:
      return refuse(
          fmt::format("there is no port {}; \"veltra devices\" lists those there are.", port));
    case port_refusal::busy:
      return refuse(fmt::format("{} is in use by {}; end that program first.", port,
                                holders.seen.empty() ? "another program" : list_holders(holders)));
    case port_refusal::denied:
      return refuse(
          fmt::format("you have no permission to open {}; become a member of the group "
                      "that owns it (\"ls -l {}\" shows it, most often dialout) and log "
                      "in again.",
                      port, port));
    case port_refusal::not_serial:
      return not_a_serial_port(port);
    case port_refusal::other:
      break;
  }
  return refuse(
      fmt::format("{} cannot be opened ({}); \"veltra devices\" lists the ports there are.", port,
                  system_reason(message)));
}

}  // namespace

std::string list_holders(const platform::device_holders& holders) {
  std::string text;
  for (const platform::device_holder& holder : holders.seen) {
    text += fmt::format("{}{} (process {})", text.empty() ? "" : ", ",
                        holder.name.empty() ? "a program" : holder.name, holder.process);
  }
  return text;
}

std::optional<user_error> explain_port_failure(const source_failure& failure,
                                               const std::string& port, std::string_view remark,
                                               const platform::device_holders& holders) {
  const std::string& message = failure.message;
  switch (failure.kind()) {
    case failure_kind::port_not_opened:
      return explain_refusal(message, port, holders);
    case failure_kind::port_settings_refused:
      return user_error(exit_code::bad_input,
                        fmt::format("{} does not support these line settings ({}); give others, "
                                    "such as 8 data bits, 1 stop bit and a speed that the adapter "
                                    "has.",
                                    port, system_reason(message)));
    case failure_kind::port_settings_unknown:
      // How a file shows on a system that opens any file as a port.
      if (platform::refusal_of(message) == platform::port_refusal::not_serial) {
        return not_a_serial_port(port);
      }
      return user_error(exit_code::bad_input,
                        fmt::format("{} does not report its line settings ({}); \"veltra devices\" "
                                    "lists the ports there are.",
                                    port, system_reason(message)));
    case failure_kind::port_lost:
      return user_error(exit_code::run_failed,
                        fmt::format("{} was lost ({}){}. Check the cable and the modem's power.",
                                    port, system_reason(message), remark));
    default:
      return std::nullopt;
  }
}

}  // namespace veltra::host
