#include "platform/wireshark_folders.h"

#include <string>

#include "platform/environment.h"

namespace platform {

namespace {

namespace fs = std::filesystem;

fs::path path_in_environment(const std::string& name) {
  return find_environment_variable(name).value_or("");
}

}  // namespace

wireshark_folders personal_wireshark_folders() {
  const fs::path home = path_in_environment("HOME");
  fs::path settings = path_in_environment("XDG_CONFIG_HOME");
  if (settings.empty() && !home.empty()) settings = home / ".config";
  wireshark_folders folders;
  if (!settings.empty()) {
    folders.extcap.push_back(settings / "wireshark/extcap");  // up to 4.0
    folders.profiles = settings / "wireshark/profiles";
  }
  if (!home.empty()) folders.extcap.push_back(home / ".local/lib/wireshark/extcap");  // from 4.2 on
  return folders;
}

wireshark_folders system_wireshark_folders(const fs::path& root) {
  wireshark_folders folders;
  // Distributions differ; where none is, Wireshark is not installed.
  for (const char* const libraries : {VELTRA_MULTIARCH_LIBRARIES, "usr/lib64", "usr/lib"}) {
    const fs::path installed = root / libraries / "wireshark";
    std::error_code ignored;
    if (folders.extcap.empty() && fs::is_directory(installed, ignored)) {
      folders.extcap.push_back(installed / "extcap");
    }
  }
  folders.profiles = root / "usr/share/wireshark/profiles";
  return folders;
}

fs::path launcher_name(std::string_view stem) {
  return stem;
}

std::error_code make_launcher(const fs::path& launcher, const fs::path& program) {
  std::error_code error;
  const fs::file_type there = fs::symlink_status(launcher, error).type();
  if (there != fs::file_type::not_found && there != fs::file_type::symlink) {
    return std::make_error_code(std::errc::file_exists);
  }
  fs::create_directories(launcher.parent_path(), error);
  if (!error) fs::remove(launcher, error);
  if (!error) fs::create_symlink(program, launcher, error);
  return error;
}

fs::path program_of_launcher(const fs::path& launcher) {
  std::error_code error;
  const fs::path target = fs::read_symlink(launcher, error);
  if (error) return {};
  return (launcher.parent_path() / target).lexically_normal();
}

}  // namespace platform
