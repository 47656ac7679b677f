#include "host/run/utc_time.h"

#include <fmt/format.h>

#include <chrono>

namespace veltra::host {

namespace {

constexpr utc_time ns_per_second = 1'000'000'000;
constexpr int last_year = 2261;  // of those that fit in 63 bits of nanoseconds

// Reads a text from its front; has failed once something else was there.
class reader {
 public:
  explicit reader(std::string_view text) : rest_(text) {}

  bool is_valid() const { return is_valid_; }
  bool at_end() const { return rest_.empty(); }

  // `count` digits, at most `max`.
  unsigned number(std::size_t count, unsigned max) {
    unsigned value = 0;
    for (; count != 0; --count) value = value * 10 + digit();
    is_valid_ = is_valid_ && value <= max;
    return value;
  }

  bool take(char expected) {
    const bool is_there = rest_.starts_with(expected);
    if (is_there) rest_.remove_prefix(1);
    return is_there;
  }

  void expect(char expected) { is_valid_ = take(expected) && is_valid_; }

  // The digits of a fraction in nanoseconds; those behind the ninth count for nothing.
  utc_time fraction() {
    utc_time value = digit() * (ns_per_second / 10);
    for (utc_time unit = ns_per_second / 100; has_digit(); unit /= 10) value += digit() * unit;
    return value;
  }

 private:
  bool has_digit() const { return !rest_.empty() && rest_[0] >= '0' && rest_[0] <= '9'; }

  unsigned digit() {
    if (!has_digit()) {
      is_valid_ = false;
      return 0;
    }
    const auto value = static_cast<unsigned>(rest_[0] - '0');
    rest_.remove_prefix(1);
    return value;
  }

  std::string_view rest_;
  bool is_valid_ = true;
};

}  // namespace

std::optional<utc_time> parse_utc(std::string_view text) {
  using namespace std::chrono;
  reader from(text);
  const auto year_number = static_cast<int>(from.number(4, last_year));
  from.expect('-');
  const unsigned month_number = from.number(2, 12);
  from.expect('-');
  const unsigned day_number = from.number(2, 31);
  from.expect('T');
  seconds of_day = hours(from.number(2, 23));
  from.expect(':');
  of_day += minutes(from.number(2, 59));
  utc_time fraction = 0;
  if (from.take(':')) {
    of_day += seconds(from.number(2, 59));
    if (from.take('.')) fraction = from.fraction();
  }
  seconds zone{0};
  if (!from.take('Z')) {
    const bool is_west = from.take('-');
    if (!is_west) from.expect('+');
    zone = hours(from.number(2, 23));
    from.expect(':');
    zone += minutes(from.number(2, 59));
    if (is_west) zone = -zone;
  }
  const year_month_day date{year(year_number), month(month_number), day(day_number)};
  if (!from.is_valid() || !from.at_end() || !date.ok()) return std::nullopt;
  const seconds since_epoch = sys_days(date).time_since_epoch() + of_day - zone;
  if (since_epoch < seconds(0)) return std::nullopt;
  return static_cast<utc_time>(since_epoch.count()) * ns_per_second + fraction;
}

std::string format_utc(utc_time time) {
  using namespace std::chrono;
  const sys_seconds point{seconds(time / ns_per_second)};
  const auto date = floor<days>(point);
  const year_month_day day_of(date);
  const hh_mm_ss<seconds> of_day(point - date);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:09}Z", static_cast<int>(day_of.year()),
                     static_cast<unsigned>(day_of.month()), static_cast<unsigned>(day_of.day()),
                     of_day.hours().count(), of_day.minutes().count(), of_day.seconds().count(),
                     time % ns_per_second);
}

}  // namespace veltra::host
