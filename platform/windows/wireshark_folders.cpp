#include "platform/wireshark_folders.h"

#include <fstream>
#include <iterator>
#include <string>

#include "platform/environment.h"
#include "platform/file.h"

namespace platform {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view before_program = "@echo off\r\n\"";
constexpr std::string_view after_program = "\" %*\r\n";

wireshark_folders folders_below(const std::string& variable) {
  const std::string name = find_environment_variable(variable).value_or("");
  if (name.empty()) return {};
  const fs::path wireshark = path_from_utf8(name) / "Wireshark";
  return {{wireshark / "extcap"}, wireshark / "profiles"};
}

}  // namespace

wireshark_folders personal_wireshark_folders() {
  return folders_below("APPDATA");
}

wireshark_folders system_wireshark_folders(const fs::path& /*root*/) {
  return folders_below("ProgramFiles");
}

fs::path launcher_name(std::string_view stem) {
  return path_from_utf8(std::string(stem) + ".bat");
}

std::error_code make_launcher(const fs::path& launcher, const fs::path& program) {
  std::error_code error;
  if (fs::exists(launcher, error) && program_of_launcher(launcher).empty()) {
    return std::make_error_code(std::errc::file_exists);
  }
  fs::create_directories(launcher.parent_path(), error);
  if (error) return error;
  // A percent sign is doubled, or the command prompt would replace a name between two.
  std::string name = path_to_utf8(program);
  for (std::size_t at = name.find('%'); at != name.npos; at = name.find('%', at + 2)) {
    name.insert(at, 1, '%');
  }
  std::ofstream file(launcher, std::ios::binary | std::ios::trunc);
  file << before_program << name << after_program;
  file.close();
  return file ? std::error_code() : std::make_error_code(std::errc::io_error);
}

fs::path program_of_launcher(const fs::path& launcher) {
  std::ifstream file(launcher, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!text.starts_with(before_program) || !text.ends_with(after_program)) return {};
  std::string name = text.substr(before_program.size(),
                                 text.size() - before_program.size() - after_program.size());
  for (std::size_t at = name.find("%%"); at != name.npos; at = name.find("%%", at + 1)) {
    name.erase(at, 1);
  }
  return path_from_utf8(name);
}

}  // namespace platform
