#include "host/display/live_status.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "host/console.h"
#include "host/display/summary.h"

namespace veltra::host {

namespace {

constexpr std::chrono::milliseconds redraw_interval{250};
constexpr std::chrono::seconds speed_interval{1};
constexpr std::chrono::minutes report_interval{1};
// A port that has not failed for so long after the attempt to open it is open.
constexpr std::chrono::seconds time_to_open{1};

struct layer_kind {
  const char* name;
  std::string_view prefixes[2];  // of the layers' names
};

constexpr layer_kind kinds[] = {{"ip", {"ip", "ip"}},
                                {"rrc", {"lte_rrc", "lte-rrc"}},
                                {"nas", {"nas", "nas"}},
                                {"at", {"at", "at"}},
                                {"tls", {"handshake_", "session_"}}};

std::uint64_t packets_of(const layer_kind& kind, const run_statistics& statistics) {
  std::uint64_t packets = 0;
  for (const auto& [layer, count] : statistics.packets_by_layer()) {
    if (layer.starts_with(kind.prefixes[0]) || layer.starts_with(kind.prefixes[1])) {
      packets += count;
    }
  }
  return packets;
}

std::string format_elapsed(std::chrono::steady_clock::duration elapsed) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(elapsed).count();
  return fmt::format("{:02}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

// A part of the line; the least important ones give way in a narrow terminal.
struct field {
  std::string text;
  int importance;
};

std::string join_fields(std::vector<field> fields, unsigned columns) {
  const auto width = [&fields] {
    std::size_t size = 0;
    for (const field& each : fields) size += each.text.size() + (size == 0 ? 0 : 2);
    return size;
  };
  // A character in the last column would make some terminals wrap.
  while (columns != 0 && fields.size() > 1 && width() >= columns) {
    fields.erase(std::min_element(fields.begin(), fields.end(), [](const field& a, const field& b) {
      return a.importance < b.importance;
    }));
  }
  std::string line;
  for (const field& each : fields) line += (line.empty() ? "" : "  ") + each.text;
  return line;
}

std::string join(const std::vector<std::string>& texts) {
  std::string line;
  for (const std::string& each : texts) line += (line.empty() ? "" : ", ") + each;
  return line;
}

}  // namespace

std::vector<std::pair<std::string_view, std::uint64_t>> count_kinds(
    const run_statistics& statistics) {
  std::vector<std::pair<std::string_view, std::uint64_t>> counts;
  for (const layer_kind& kind : kinds) counts.emplace_back(kind.name, packets_of(kind, statistics));
  return counts;
}

live_status::live_status(live_status_options options) : options_(std::move(options)) {}

void live_status::begin(time_point now) {
  last_arrival_ = next_draw_ = now;
  heard_ = false;
  // Again after a loss: the time and the speed go on.
  if (!std::exchange(running_, true)) begin_ = mark_ = now;
}

void live_status::take(const packet& packet, time_point now) {
  statistics_.add(packet);
  if (is_raw(packet)) arrived(now);
}

void live_status::take_searched(std::uint64_t bytes) {
  searched_ = bytes;
}

void live_status::take_located() {
  searched_ = 0;
}

void live_status::arrived(time_point now) {
  last_arrival_ = now;
  heard_ = true;
  silent_ = false;
}

bool live_status::searches_long() const {
  return searched_ >= options_.long_search && !long_search_told_;
}

void live_status::take_facts(const run_facts& facts, unsigned columns) {
  facts_ = facts;
  columns_ = columns;
}

void live_status::measure_speed(time_point now) {
  if (now - mark_ < speed_interval) return;
  speed_ = static_cast<double>(statistics_.raw_bytes() - bytes_at_mark_) /
           std::chrono::duration<double>(now - mark_).count();
  mark_ = now;
  bytes_at_mark_ = statistics_.raw_bytes();
}

std::string live_status::counters(time_point now) {
  if (!running_) return facts_.is_waiting ? "waiting for the port" : "not open yet";
  measure_speed(now);
  std::vector<field> fields = {{format_elapsed(now - begin_), 8},
                               {format_bytes(static_cast<double>(statistics_.raw_bytes())), 9},
                               {format_bytes(speed_) + "/s", 3}};
  if (facts_.is_waiting) {
    fields.push_back({"waiting for the port", 7});
    return join_fields(std::move(fields), columns_);
  }
  if (searched_ > 0) {
    fields.push_back({"searching for the database's UUID", 7});
    return join_fields(std::move(fields), columns_);
  }
  int importance = 6;
  for (const auto& [kind, count] : count_kinds(statistics_)) {
    fields.push_back({fmt::format("{} {}", kind, count), importance});
    // The speed is worth more than the counts at the end.
    if (--importance == 3) importance = 2;
  }
  fields.push_back({fmt::format("dropped {}", statistics_.dropped_traces()), 7});
  if (!facts_.files.empty()) fields.push_back({sanitize(facts_.files.front()), 0});
  return join_fields(std::move(fields), columns_);
}

// A port that is refused is not recorded.
std::string live_status::report_start(time_point now) {
  const bool is_open = statistics_.raw_bytes() != 0 || (running_ && now - begin_ >= time_to_open);
  if (options_.report_start.empty() || !is_open || std::exchange(has_reported_start_, true)) {
    return {};
  }
  next_report_ = now + report_interval;
  return fmt::format("veltra: {}: {}; {}\n", options_.port,
                     facts_.is_waiting ? "waiting" : "recording", options_.report_start);
}

// A line for a log, whose reader wants all of it.
std::string live_status::report(time_point now) {
  next_report_ = now + report_interval;
  measure_speed(now);
  std::string text =
      fmt::format("veltra: {}: {}{}  {}/s", options_.port, facts_.is_waiting ? "waiting  " : "",
                  format_bytes(static_cast<double>(statistics_.raw_bytes())), format_bytes(speed_));
  const auto out = std::back_inserter(text);
  for (const auto& [kind, count] : count_kinds(statistics_)) {
    fmt::format_to(out, "  {} {}", kind, count);
  }
  fmt::format_to(out, "  dropped {}  missed {}  gaps {}  {}\n", statistics_.dropped_traces(),
                 facts_.missed, facts_.gaps,
                 facts_.files.empty() ? "no file yet" : sanitize(join(facts_.files)));
  return text;
}

std::string live_status::silence() const {
  // What brought data once is not the cause: a modem that has nothing to tell is silent.
  return fmt::format(
      "veltra: nothing {}has arrived on {} for {} seconds. {}Still waiting; {}.\n",
      heard_ ? "more " : "", options_.port,
      std::chrono::floor<std::chrono::seconds>(options_.silence).count(),
      heard_ ? ""
             : "Usual causes: the wrong port (\"veltra devices\" lists them), a baud rate that is "
               "not the modem's, or a trace that is not enabled in the modem. ",
      options_.how_to_end);
}

std::string live_status::show(time_point now) {
  std::string text;
  if (!running_) return text;
  if (now >= silence_due()) {
    text = clear() + silence();
    silent_ = true;
    next_draw_ = now;
  }
  if (searches_long()) {
    long_search_told_ = true;
    text += clear();
    fmt::format_to(std::back_inserter(text),
                   "veltra: {} have arrived on {} and no database UUID in them; the modem sends it "
                   "when a trace begins. Restart the trace, or name the database with --database. "
                   "Still searching; {}.\n",
                   format_bytes(static_cast<double>(searched_)), options_.port,
                   options_.how_to_end);
    next_draw_ = now;
  }
  text += report_start(now);
  if (has_reported_start_ && now >= next_report_) text += report(now);
  if (options_.with_counters && now >= next_draw_) {
    next_draw_ = now + redraw_interval;
    text += drawn_line(counters(now));
    drawn_ = true;
  }
  return text;
}

live_status::time_point live_status::silence_due() const {
  return silent_ ? time_point::max() : last_arrival_ + options_.silence;
}

std::string live_status::clear() {
  next_draw_ = {};
  return std::string(std::exchange(drawn_, false) ? wiped_line : "");
}

}  // namespace veltra::host
