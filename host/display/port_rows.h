// port_rows.h - a row for each of several ports at the end of a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// Redraws its rows in their place on stderr, below the lines that stay. Any thread; a
// terminal that has been stopped makes its callers wait.
class port_rows {
 public:
  using time_point = std::chrono::steady_clock::time_point;

  // `ports`: a row each, in this order.
  explicit port_rows(const std::vector<std::string>& ports);

  // How much of a terminal of so many columns is left beside a port's name; 0 stays 0.
  unsigned columns_for_text(unsigned columns) const;

  // The text of the port at `index` from the next draw() on.
  void set_text(std::size_t index, std::string text);

  // A few times a second, however often it is called.
  void draw(time_point now);

  // Shows whole lines that stay, above the rows.
  void show_lines(std::string_view lines);

  // Takes the rows off the terminal. They do not come back.
  void end();

 private:
  struct row {
    std::string name;  // all of one width
    std::string text;
  };

  std::string clear();
  std::string drawn_rows() const;

  std::mutex mutex_;  // guards what follows
  std::vector<row> rows_;
  bool is_drawn_ = false;
  bool has_ended_ = false;
  time_point next_draw_{};
};

}  // namespace veltra::host
