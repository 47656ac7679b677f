#include "host/source/literal_path.h"

#include "platform/file.h"

namespace veltra::host {

namespace {

// The path seen from the working directory, on Windows from that of its drive
// ("D:..\\dir"). A tilde in such a path is a name.
std::filesystem::path relative_form(const std::filesystem::path& path) {
  const std::filesystem::path drive = path.root_name();
  const std::filesystem::path base =
      drive.empty() ? std::filesystem::current_path() : std::filesystem::absolute(drive);
  std::filesystem::path form = drive;
  form += path.relative_path().lexically_relative(base.relative_path());
  return form;
}

}  // namespace

std::string literal_path(const std::filesystem::path& path) {
  std::string text = platform::path_to_utf8(path);
  // A network's root has no other form.
  const std::string root = platform::path_to_utf8(path.root_name());
  if (path.is_absolute() && (root.empty() || root.back() == ':') &&
      text.find('~') != std::string::npos) {
    text = platform::path_to_utf8(relative_form(path));
  }
  return text.starts_with("${") ? "./" + text : text;
}

}  // namespace veltra::host
