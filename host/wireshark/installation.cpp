#include "host/wireshark/installation.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>
#include <vector>

#include "host/output/output_failure.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

const fs::path& launcher() {
  static const fs::path name = platform::launcher_name("veltra-extcap");
  return name;
}

std::string text_of(const fs::path& path) {
  return platform::path_to_utf8(path);
}

void check(std::error_code error, const char* operation, const fs::path& path) {
  if (!error) return;
  throw output_failure(operation, path, error.default_error_condition().value());
}

std::string read(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool is_there(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

std::vector<fs::path> files_of(const fs::path& directory) {
  std::vector<fs::path> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (entry.is_regular_file()) names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

fs::path profile_of(const wireshark_installation& installation) {
  return installation.destination.profiles / profile_name;
}

// The names of those files of the installed profile that are unlike ours.
std::vector<fs::path> changed_files(const wireshark_installation& installation) {
  std::vector<fs::path> changed;
  for (const fs::path& name : files_of(installation.profile)) {
    const fs::path installed = profile_of(installation) / name;
    if (is_there(installed) && read(installed) != read(installation.profile / name)) {
      changed.push_back(name);
    }
  }
  return changed;
}

std::optional<fs::path> launcher_in(const platform::wireshark_folders& folders) {
  for (const fs::path& folder : folders.extcap) {
    if (is_there(folder / launcher())) return folder / launcher();
  }
  return std::nullopt;
}

fs::path find_profile() {
  const fs::path here = platform::executable_path().parent_path();
  // VELTRA_PROFILE_FROM_BIN leads from the installed program to the installed profile.
  for (const fs::path& place : {here / VELTRA_PROFILE_FROM_BIN, here / "wireshark"}) {
    if (is_there(place / profile_name)) return place / profile_name;
  }
  throw user_error(exit_code::bad_input,
                   fmt::format("there is no Wireshark profile in {}, where it was installed with "
                               "this program; install the program again.",
                               text_of((here / VELTRA_PROFILE_FROM_BIN).lexically_normal())));
}

std::string install_launchers(const wireshark_installation& installation) {
  if (const auto other = launcher_in(installation.for_all_users)) {
    return fmt::format("{}: installed for all users already\n", text_of(*other));
  }
  std::string lines;
  for (const fs::path& folder : installation.destination.extcap) {
    const fs::path path = folder / launcher();
    check(platform::make_launcher(path, installation.program), "cannot make", path);
    lines += fmt::format("{}: installed\n", text_of(path));
  }
  return lines;
}

std::string install_profile(const wireshark_installation& installation, bool overwrite) {
  const fs::path profile = profile_of(installation);
  std::error_code error;
  // All users' profile may be the very file that would be copied.
  if (fs::equivalent(profile, installation.profile, error)) {
    return fmt::format("{}: installed\n", text_of(profile));
  }
  const std::vector<fs::path> changed = changed_files(installation);
  fs::create_directories(profile, error = {});
  check(error, "cannot make", profile);
  std::string lines;
  for (const fs::path& name : files_of(installation.profile)) {
    const fs::path to = profile / name;
    if (!overwrite && std::find(changed.begin(), changed.end(), name) != changed.end()) {
      lines +=
          fmt::format("{}: kept, since it was changed; --overwrite replaces it\n", text_of(to));
      continue;
    }
    // Some standard libraries of Windows do not overwrite, whatever they are asked for.
    fs::remove(to, error);
    fs::copy_file(installation.profile / name, to, error);
    check(error, "cannot write", to);
  }
  return fmt::format("{}: installed\n", text_of(profile)) + lines;
}

std::string state_of_launcher(const fs::path& path, const fs::path& program) {
  const fs::path target = platform::program_of_launcher(path);
  if (target.empty()) return is_there(path) ? "not a link of veltra" : "not installed";
  std::error_code ignored;
  if (fs::equivalent(target, program, ignored)) return "installed";
  return fmt::format("starts {}, {}", text_of(target),
                     is_there(target) ? "another program" : "which does not exist");
}

}  // namespace

wireshark_installation find_installation(bool for_all_users) {
  wireshark_installation found;
  found.program = platform::executable_path();
  found.profile = find_profile();
  const platform::wireshark_folders system = platform::system_wireshark_folders();
  found.destination = for_all_users ? system : platform::personal_wireshark_folders();
  if (!for_all_users) found.for_all_users = system;
  if (!found.destination.extcap.empty()) return found;
  throw user_error(exit_code::bad_input,
                   for_all_users ? "there is no Wireshark on this system; install it first."
                                 : "the environment does not name your home directory; set HOME "
                                   "(on Windows APPDATA).");
}

std::string install(const wireshark_installation& installation, bool overwrite) {
  return install_launchers(installation) + install_profile(installation, overwrite);
}

std::string uninstall(const wireshark_installation& installation) {
  std::string lines;
  std::error_code error;
  for (const fs::path& folder : installation.destination.extcap) {
    const fs::path path = folder / launcher();
    if (platform::program_of_launcher(path).empty()) continue;
    fs::remove(path, error);
    check(error, "cannot remove", path);
    lines += fmt::format("{}: removed\n", text_of(path));
  }
  const fs::path profile = profile_of(installation);
  if (is_there(profile)) {
    if (!changed_files(installation).empty()) {
      return lines + fmt::format("{}: kept, since it was changed\n", text_of(profile));
    }
    fs::remove_all(profile, error);
    check(error, "cannot remove", profile);
    lines += fmt::format("{}: removed\n", text_of(profile));
  }
  return lines.empty() ? "nothing is installed\n" : lines;
}

std::string describe(const wireshark_installation& installation) {
  std::string lines;
  std::vector<fs::path> folders = installation.destination.extcap;
  folders.insert(folders.end(), installation.for_all_users.extcap.begin(),
                 installation.for_all_users.extcap.end());
  for (const fs::path& folder : folders) {
    const fs::path path = folder / launcher();
    lines += fmt::format("{}: {}\n", text_of(path), state_of_launcher(path, installation.program));
  }
  const fs::path profile = profile_of(installation);
  const char* const state = !is_there(profile)                    ? "not installed"
                            : changed_files(installation).empty() ? "installed"
                                                                  : "installed, and changed";
  return lines + fmt::format("{}: {}\n", text_of(profile), state);
}

}  // namespace veltra::host
