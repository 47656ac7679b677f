#include "host/simulate/session_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <optional>
#include <system_error>
#include <utility>

#include "host/console.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::string_view columns =
    "a line contains time_us, layer, payload in hexadecimal and, if wanted, a summary, with a tab "
    "between them";

// Cuts the text up to `separator` off the front of `rest`. Nothing when `rest`
// contains no separator.
std::optional<std::string_view> take_until(std::string_view& rest, char separator) {
  const std::size_t end = rest.find(separator);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view taken = rest.substr(0, end);
  rest.remove_prefix(end + 1);
  return taken;
}

// A value 0..15, or -1.
constexpr int hex_digit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

// One line that is neither blank nor a remark.
class line_parser {
 public:
  line_parser(std::string_view name, std::size_t number) : name_(name), number_(number) {}

  session_message parse(std::string_view line) const {
    const auto time = take_until(line, '\t');
    const auto layer = time ? take_until(line, '\t') : std::nullopt;
    if (!layer) refuse(fmt::format("there are fewer than three columns; {}.", columns));
    const std::string_view payload = line.substr(0, line.find('\t'));

    session_message message;
    message.line = number_;
    message.time_us = parse_time(*time);
    if (layer->empty()) refuse(fmt::format("the layer is empty; {}.", columns));
    message.layer = *layer;
    message.payload = parse_payload(payload);
    return message;
  }

 private:
  std::uint64_t parse_time(std::string_view text) const {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc::result_out_of_range || value > max_session_time_us) {
      refuse(fmt::format("the time {} is beyond the largest, {} microseconds.", printable(text),
                         max_session_time_us));
    }
    if (error != std::errc() || stop != end) {
      refuse(
          fmt::format("the time \"{}\" is not a whole number of microseconds.", printable(text)));
    }
    return value;
  }

  std::string parse_payload(std::string_view text) const {
    const auto bad =
        std::find_if(text.begin(), text.end(), [](char c) { return hex_digit(c) < 0; });
    if (bad != text.end()) {
      refuse(fmt::format("the payload contains \"{}\", which is not a hexadecimal digit.",
                         printable(std::string_view(&*bad, 1))));
    }
    if (text.size() % 2 != 0) {
      refuse(fmt::format(
          "the payload has an odd number of hexadecimal digits ({}); write two for each byte.",
          text.size()));
    }
    std::string bytes(text.size() / 2, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      bytes[i] = static_cast<char>(hex_digit(text[2 * i]) << 4 | hex_digit(text[2 * i + 1]));
    }
    return bytes;
  }

  [[noreturn]] void refuse(std::string_view what) const { refuse_line(name_, number_, what); }

  std::string_view name_;
  std::size_t number_;
};

[[noreturn]] void refuse_file(const std::string& name, std::string_view why) {
  throw user_error(exit_code::bad_input, fmt::format("cannot read the session {}: {}.", name, why));
}

std::string reason(int error) {
  return std::generic_category().message(error);
}

}  // namespace

std::string printable(std::string_view text) {
  constexpr std::size_t max_shown = 40;
  const std::string result = sanitize(text.substr(0, max_shown));
  return text.size() > max_shown ? result + "..." : result;
}

void refuse_line(std::string_view name, std::size_t line, std::string_view what) {
  throw user_error(exit_code::bad_input, fmt::format("{}, line {}: {}", name, line, what));
}

session parse_session(std::string_view text, std::string name) {
  session result{std::move(name), {}};
  if (text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());
  for (std::size_t number = 1; !text.empty(); ++number) {
    std::string_view line;
    if (const auto taken = take_until(text, '\n')) {
      line = *taken;
    } else {
      line = std::exchange(text, {});
    }
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.find_first_not_of(" \t") == std::string_view::npos || line.front() == '#') continue;
    result.messages.push_back(line_parser(result.name, number).parse(line));
  }
  if (result.messages.empty()) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} contains no message; {}.", result.name, columns));
  }
  return result;
}

session read_session(const std::filesystem::path& path) {
  const std::string name = platform::path_to_utf8(path);
  const platform::owned_file file(platform::open_file(path, platform::open_mode::read));
  if (!file) refuse_file(name, reason(errno));

  std::string text;
  std::array<char, 65536> block;
  while (const std::size_t count = platform::read_bytes(file.get(), block.data(), block.size())) {
    text.append(block.data(), count);
    if (text.size() > max_session_bytes) {
      refuse_file(name, fmt::format("it is larger than {} bytes", max_session_bytes));
    }
  }
  if (std::ferror(file.get()) != 0) refuse_file(name, reason(errno));
  return parse_session(text, name);
}

}  // namespace veltra::host
