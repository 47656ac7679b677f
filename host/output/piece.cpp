#include "host/output/piece.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/output/output_format.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t min_number_digits = 5;
constexpr std::size_t time_digits = 14;

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Time and number, by which pieces are ordered; nothing for another file.
std::optional<std::pair<std::string, std::string>> series_key(std::string_view name,
                                                              std::string_view stem,
                                                              std::string_view extension) {
  if (!name.starts_with(stem) || !name.ends_with(extension)) return std::nullopt;
  if (name.size() < stem.size() + extension.size()) return std::nullopt;
  name = name.substr(stem.size(), name.size() - stem.size() - extension.size());
  const std::size_t time_begin = name.rfind('_');
  if (!name.starts_with('_') || time_begin == 0) return std::nullopt;
  const std::string_view number = name.substr(1, time_begin - 1);
  const std::string_view time = name.substr(time_begin + 1);
  if (!is_number(number) || number.size() < min_number_digits) return std::nullopt;
  if (!is_number(time) || time.size() != time_digits) return std::nullopt;
  return std::pair(std::string(time), std::string(number));
}

}  // namespace

fs::path piece_path(const fs::path& base, const piece& piece) {
  const std::time_t begin = static_cast<std::time_t>(piece.begin);
  const divided_name name = divide_name(base);
  fs::path path = base;
  path.replace_filename(platform::path_from_utf8(fmt::format(
      "{}_{:05}_{:%Y%m%d%H%M%S}{}", name.stem, piece.number, fmt::localtime(begin), name.ending)));
  return path;
}

std::vector<fs::path> find_pieces(const fs::path& base) {
  const auto [stem, ending] = divide_name(base);
  std::vector<std::pair<std::pair<std::string, std::string>, fs::path>> found;
  std::error_code error;
  const fs::path directory = base.has_parent_path() ? base.parent_path() : fs::path(".");
  for (fs::directory_iterator entry(directory, error), last; !error && entry != last;
       entry.increment(error)) {
    const std::string name = platform::path_to_utf8(entry->path().filename());
    if (auto key = series_key(name, stem, ending)) {
      fs::path path = base;
      found.emplace_back(std::move(*key), path.replace_filename(entry->path().filename()));
    }
  }
  std::sort(found.begin(), found.end());
  std::vector<fs::path> pieces;
  for (auto& [key, path] : found) pieces.push_back(std::move(path));
  return pieces;
}

}  // namespace veltra::host
