#include "host/commands/file_limits.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

#include "host/console.h"
#include "host/user_error.h"

namespace veltra::host {

namespace {

constexpr std::uint64_t bytes_of_a_kilobyte = 1000;
// A year of seconds or a petabyte is beyond any use, and below any overflow.
constexpr std::uint64_t max_value = 1'000'000'000'000;

[[noreturn]] void refuse(std::string_view option, std::string_view value, std::string_view why) {
  throw user_error(exit_code::usage, fmt::format("{} {}: {}.", option, sanitize(value), why));
}

template <typename Number>
Number parse_positive(std::string_view option, std::string_view value, std::string_view text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || !(number > 0) ||
      number > static_cast<Number>(max_value)) {
    refuse(option, value, fmt::format("\"{}\" is not a number above 0", sanitize(text)));
  }
  return number;
}

std::uint32_t parse_count(std::string_view option, std::string_view value, std::string_view text) {
  const auto number = parse_positive<std::uint64_t>(option, value, text);
  if (number > std::numeric_limits<std::uint32_t>::max()) refuse(option, value, "is too large");
  return static_cast<std::uint32_t>(number);
}

// Takes a limit that -a and -b have in common; false for another.
bool take_limit(file_limits& limits, std::string_view option, std::string_view value,
                std::string_view key, std::string_view text) {
  if (key == "duration") {
    limits.duration = std::chrono::duration<double>(parse_positive<double>(option, value, text));
  } else if (key == "filesize") {
    limits.bytes = parse_positive<std::uint64_t>(option, value, text) * bytes_of_a_kilobyte;
  } else if (key == "packets") {
    limits.packets = parse_positive<std::uint64_t>(option, value, text);
  } else if (key == "files") {
    limits.files = parse_count(option, value, text);
  } else {
    return false;
  }
  return true;
}

std::string_view limit_name(std::string_view value) {
  return value.substr(0, value.find(':'));
}

std::string_view limit_text(std::string_view value) {
  const std::size_t colon = value.find(':');
  return colon == std::string_view::npos ? std::string_view() : value.substr(colon + 1);
}

}  // namespace

rotation_request parse_rotation(const std::vector<std::string>& values) {
  constexpr std::string_view option = "-b";
  rotation_request request;
  for (const std::string& value : values) {
    const std::string_view key = limit_name(value);
    const std::string_view text = limit_text(value);
    if (take_limit(request.rotation.piece, option, value, key, text)) continue;
    if (key == "interval") {
      request.rotation.interval = parse_count(option, value, text);
    } else if (key == "printname") {
      if (text != "-" && text != "stdout") refuse(option, value, "names are printed on \"-\" only");
      request.prints_names = true;
    } else {
      refuse(option, value,
             "give duration:SECONDS, filesize:KB, packets:N, interval:SECONDS, files:N or "
             "printname:-");
    }
  }
  return request;
}

file_limits parse_end(const std::vector<std::string>& values) {
  constexpr std::string_view option = "-a";
  file_limits limits;
  for (const std::string& value : values) {
    if (!take_limit(limits, option, value, limit_name(value), limit_text(value))) {
      refuse(option, value, "give duration:SECONDS, filesize:KB, packets:N or files:N");
    }
  }
  return limits;
}

std::uint64_t parse_size(const std::string& option, const std::string& text) {
  std::uint64_t unit = 1;
  std::string_view digits = text;
  if (!digits.empty()) {
    switch (digits.back()) {
      case 'k':
      case 'K':
        unit = 1'000;
        break;
      case 'M':
        unit = 1'000'000;
        break;
      case 'G':
        unit = 1'000'000'000;
        break;
      case 'T':
        unit = 1'000'000'000'000;
        break;
      default:
        break;
    }
    if (unit != 1) digits.remove_suffix(1);
  }
  std::uint64_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (error != std::errc() || stop != end || number == 0 ||
      number > std::numeric_limits<std::uint64_t>::max() / unit) {
    refuse(option, text, "is not a size; give bytes, or a number with k, M, G or T such as 2G");
  }
  return number * unit;
}

}  // namespace veltra::host
