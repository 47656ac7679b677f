// init_parameters_fuzz.cpp - any text as init parameters, with those of a serial port.
//
// Every outcome is an input and a chunk size, or a failure with a text. Parameters that
// would change a cache are left out.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "implementation/contract.h"
#include "implementation/json.h"
#include "implementation/zet_serialport/zet_serialport_settings.h"
#include "plugin/init_parameters.h"

namespace {

template <typename Function>
auto unless_refused(const Function& function) -> std::optional<decltype(function())> {
  try {
    return function();
  } catch (const std::exception& refusal) {
    KOVAX_CONTRACT(*refusal.what() != '\0');
    return std::nullopt;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto json = kovax::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (json.is_object() && json.contains("auto_detect_db_config")) return 0;
  if (const auto settings =
          unless_refused([&] { return veltra::read_init_parameters(text.c_str(), {}); })) {
    KOVAX_CONTRACT(!settings->trace_file.empty() || !settings->serial_port.empty());
    KOVAX_CONTRACT(settings->chunk_size >= 1);
  }
  if (json.is_discarded()) return 0;
  const auto line = unless_refused([&] {
    std::string path;
    zet_serialport_lib::zet_serialport_settings settings;
    zet_serialport_lib::parse_serial_port_parameters(
        json, path, settings, [](const kovax::json& value) { return value.get<std::string>(); });
    return to_string(settings);
  });
  KOVAX_CONTRACT(!line || line->starts_with("baud_rate: "));
  return 0;
}
