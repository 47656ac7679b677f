#include "host/display/progress_bar.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "host/console.h"
#include "host/display/summary.h"

namespace veltra::host {

namespace {

constexpr std::size_t bar_width = 40;

// Takes `label` and the number behind it from the front of `text`.
std::optional<std::uint64_t> take_number(std::string_view& text, std::string_view label) {
  if (!text.starts_with(label)) return std::nullopt;
  text.remove_prefix(label.size());
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

}  // namespace

std::optional<input_position> read_position(std::string_view metadata) {
  const std::optional<std::uint64_t> offset = take_number(metadata, R"({"data_offset":)");
  if (!offset) return std::nullopt;
  return input_position{*offset, take_number(metadata, R"(,"data_size":)")};
}

std::string format_progress(const input_position& position, std::chrono::duration<double> elapsed) {
  const double speed = static_cast<double>(position.offset) / std::max(elapsed.count(), 1e-3);
  if (!position.size || *position.size == 0) {
    return fmt::format("{}  {}/s", format_bytes(static_cast<double>(position.offset)),
                       format_bytes(speed));
  }
  // A file that grows while it is read is not more than whole.
  const double part =
      std::min(1.0, static_cast<double>(position.offset) / static_cast<double>(*position.size));
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(bar_width));
  return fmt::format("[{:#>{}}{:->{}}] {:3.0f} %  {}/s", "", filled, "", bar_width - filled,
                     std::floor(part * 100), format_bytes(speed));
}

progress_bar::progress_bar(std::FILE* terminal, time_point begin)
    : terminal_(terminal), begin_(begin) {}

void progress_bar::take_packet(const packet& packet) {
  // Raw packets are few and carry the position; decoded ones need no look.
  if (terminal_ == nullptr || !is_raw(packet)) return;
  const std::lock_guard lock(mutex_);
  position_ = read_position(packet.metadata);
}

void progress_bar::tick(time_point now) {
  const std::lock_guard lock(mutex_);
  if (!position_) return;
  show(drawn_line(format_progress(*std::exchange(position_, std::nullopt), now - begin_)));
  is_drawn_ = true;
}

void progress_bar::show_lines(std::string_view lines) {
  const std::lock_guard lock(mutex_);
  wipe();
  print_message(lines);
}

void progress_bar::end() {
  const std::lock_guard lock(mutex_);
  wipe();
}

void progress_bar::wipe() {
  if (std::exchange(is_drawn_, false)) show(wiped_line);
}

void progress_bar::show(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), terminal_);
  std::fflush(terminal_);
}

}  // namespace veltra::host
