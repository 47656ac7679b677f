#include "plugin/path_parameter.h"

#include <optional>
#include <string_view>

#include "implementation/json.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "plugin/errors.h"

namespace veltra {

namespace {

bool equals_env_prefix(std::string_view text) {
  constexpr std::string_view prefix = "${env:";
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    const bool letter = prefix[i] >= 'a' && prefix[i] <= 'z';
    // Lower-casing an ASCII letter sets this bit.
    if ((letter ? text[i] | 0x20 : text[i]) != prefix[i]) return false;
  }
  return true;
}

// NAME of a text of the form ${env:NAME}; NAME ends at the text's last brace and
// holds no line break.
std::optional<std::string> referenced_variable(std::string_view text) {
  constexpr std::size_t prefix_length = 6;
  if (!equals_env_prefix(text) || text.size() == prefix_length || text.back() != '}') {
    return std::nullopt;
  }
  const std::string_view name = text.substr(prefix_length, text.size() - prefix_length - 1);
  if (name.find_first_of("\r\n") != std::string_view::npos) return std::nullopt;
  return std::string(name);
}

std::string require_environment_variable(const std::string& name) {
  std::optional<std::string> value = platform::find_environment_variable(name);
  if (!value) throw kovax::kovax_exception(1, "failed to find env variable: " + name);
  return *std::move(value);
}

}  // namespace

std::string expand_env_variables(const kovax::json& value) {
  auto text = value.get<std::string>();
  if (const std::optional<std::string> name = referenced_variable(text)) {
    return require_environment_variable(*name);
  }
  return text;
}

std::filesystem::path resolve_path_parameter(const kovax::json& parameters, const char* key) {
  if (!parameters.contains(key)) return {};
  const std::filesystem::path path =
      platform::path_from_utf8(expand_env_variables(parameters.at(key)));
  if (path.empty()) return {};
  // A relative path that begins with a tilde names a directory called "~".
  if (!platform::is_absolute_path(path)) return std::filesystem::current_path() / path;

  std::string text = platform::path_to_utf8(path);
  const std::size_t tilde = text.find('~');
  if (tilde == std::string::npos) return path;
  text.replace(tilde, 1, require_environment_variable("HOME"));
  return platform::path_from_utf8(text);
}

}  // namespace veltra
