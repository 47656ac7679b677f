#include "host/display/port_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/console.h"

namespace veltra::host {

namespace {

constexpr std::chrono::milliseconds rows_interval{250};
constexpr std::size_t gap = 2;  // columns between name and text
// To the row above (CUU of ECMA-48).
constexpr std::string_view up = "\x1b[A";

}  // namespace

port_rows::port_rows(const std::vector<std::string>& ports) {
  std::size_t width = 0;
  for (const std::string& port : ports) width = std::max(width, port.size());
  for (const std::string& port : ports) {
    rows_.push_back({fmt::format("{:<{}}", sanitize(port), width + gap), {}});
  }
}

unsigned port_rows::columns_for_text(unsigned columns) const {
  const auto taken = static_cast<unsigned>(rows_.front().name.size());
  // A text of one field stays, however narrow the terminal is.
  return columns == 0 ? 0 : columns > taken ? columns - taken : 1;
}

void port_rows::set_text(std::size_t index, std::string text) {
  const std::lock_guard lock(mutex_);
  rows_[index].text = std::move(text);
}

void port_rows::draw(time_point now) {
  const std::lock_guard lock(mutex_);
  if (has_ended_ || now < next_draw_) return;
  next_draw_ = now + rows_interval;
  print_message(clear() + drawn_rows());
  is_drawn_ = true;
}

void port_rows::show_lines(std::string_view lines) {
  const std::lock_guard lock(mutex_);
  const bool were_drawn = is_drawn_;
  std::string text = clear();
  text += lines;
  if (were_drawn) text += drawn_rows();
  is_drawn_ = were_drawn;
  print_message(text);
}

void port_rows::end() {
  const std::lock_guard lock(mutex_);
  has_ended_ = true;
  const std::string text = clear();
  if (!text.empty()) print_message(text);
}

// The cursor is in the last row then.
std::string port_rows::drawn_rows() const {
  std::string text;
  for (const row& each : rows_) {
    if (!text.empty()) text += '\n';
    text += drawn_line(each.name + each.text);
  }
  return text;
}

std::string port_rows::clear() {
  if (!std::exchange(is_drawn_, false)) return {};
  std::string text(wiped_line);
  for (std::size_t i = 1; i < rows_.size(); ++i) text.append(up).append(wiped_line);
  return text;
}

}  // namespace veltra::host
