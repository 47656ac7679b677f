#include "host/output/output_format.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/output/output_failure.h"
#include "host/output/output_file.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char each) {
    return each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each;
  });
  return text;
}

std::string ending_of(const std::filesystem::path& file) {
  return lower(platform::path_to_utf8(file.extension()));
}

}  // namespace

bool is_gzip_name(const std::filesystem::path& file) {
  return ending_of(file) == ".gz";
}

divided_name divide_name(const std::filesystem::path& file) {
  const std::filesystem::path name = file.filename();
  const std::filesystem::path inner = is_gzip_name(name) ? name.stem() : name;
  const std::string stem = platform::path_to_utf8(inner.stem());
  return {stem, platform::path_to_utf8(name).substr(stem.size())};
}

std::string choose_format(const std::filesystem::path& file, const std::string& asked) {
  const std::string usual = asked.empty() ? "pcapng" : asked;
  const std::string ending = ending_of(is_gzip_name(file) ? file.stem() : file);
  for (const char* const format : {"pcapng", "jsonl"}) {
    if (ending != std::string(".") + format) continue;
    if (asked.empty() || asked == format) return format;
    throw user_error(exit_code::usage,
                     fmt::format("{} is the name of a {} file, and --format asks for {}; change "
                                 "one of the two.",
                                 output_name(file), format, asked));
  }
  if (!ending.empty() && asked.empty() && !output_file::is_stream(file)) {
    throw user_error(exit_code::usage,
                     fmt::format("{} does not say what to write: end the name in .pcapng or .jsonl "
                                 "(.gz behind it compresses), or choose with --format.",
                                 output_name(file)));
  }
  return usual;
}

}  // namespace veltra::host
