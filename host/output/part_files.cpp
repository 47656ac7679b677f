#include "host/output/part_files.h"

#include <algorithm>
#include <string>
#include <system_error>

#include "host/output/output_format.h"
#include "platform/file.h"
#include "platform/serial_devices.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view part_extension = ".part";
constexpr std::size_t part_digits = 8;

}  // namespace

fs::path target_of_part(const fs::path& part) {
  std::string name = platform::path_to_utf8(part.filename());
  if (!name.ends_with(part_extension)) return {};
  name.resize(name.size() - part_extension.size());
  if (name.size() < part_digits + 2) return {};
  const std::string digits = name.substr(name.size() - part_digits);
  if (digits.find_first_not_of("0123456789abcdef") != std::string::npos) return {};
  name.resize(name.size() - part_digits);
  if (!name.ends_with('.')) return {};
  name.pop_back();
  fs::path target = part;
  return target.replace_filename(platform::path_from_utf8(name));
}

std::vector<fs::path> find_left_parts(const fs::path& base) {
  const auto [stem, ending] = divide_name(base);
  std::vector<fs::path> parts;
  std::error_code error;
  const fs::path directory = base.has_parent_path() ? base.parent_path() : fs::path(".");
  for (fs::directory_iterator entry(directory, error), last; !error && entry != last;
       entry.increment(error)) {
    fs::path part = base;
    part.replace_filename(entry->path().filename());
    const fs::path target = target_of_part(part);
    const divided_name name = divide_name(target);
    const bool is_of_base = name.stem == stem || name.stem.starts_with(stem + "_");
    if (!is_of_base || name.ending != ending) continue;
    if (platform::find_device_holders(part).seen.empty()) parts.push_back(std::move(part));
  }
  std::sort(parts.begin(), parts.end());
  return parts;
}

}  // namespace veltra::host
