#include "host/literal_path.h"

#include "platform/file.h"

namespace veltra::host {

std::string literal_path(const std::filesystem::path& path) {
  std::filesystem::path literal = path;
  if (path.is_absolute() && platform::path_to_utf8(path).find('~') != std::string::npos) {
    // A tilde in a relative path is a name.
    literal = path.lexically_proximate(std::filesystem::current_path());
  }
  std::string text = platform::path_to_utf8(literal);
  return text.starts_with("${") ? "./" + text : text;
}

}  // namespace veltra::host
