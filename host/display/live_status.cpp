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

}  // namespace

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

std::string live_status::counters(time_point now) {
  if (now - mark_ >= speed_interval) {
    speed_ = static_cast<double>(statistics_.raw_bytes() - bytes_at_mark_) /
             std::chrono::duration<double>(now - mark_).count();
    mark_ = now;
    bytes_at_mark_ = statistics_.raw_bytes();
  }
  std::string text =
      fmt::format("{}  {}  {}/s", format_elapsed(now - begin_),
                  format_bytes(static_cast<double>(statistics_.raw_bytes())), format_bytes(speed_));
  if (searched_ > 0) return text + "  searching for the database's UUID";
  for (const layer_kind& kind : kinds) {
    fmt::format_to(std::back_inserter(text), "  {} {}", kind.name, packets_of(kind, statistics_));
  }
  fmt::format_to(std::back_inserter(text), "  dropped {}", statistics_.dropped_traces());
  return text;
}

std::string live_status::silence() const {
  // What brought data once is not the cause: a modem that has nothing to tell is silent.
  return fmt::format(
      "veltra: nothing {}has arrived on {} for {} seconds. {}Still waiting; Ctrl-C ends.\n",
      heard_ ? "more " : "", options_.port,
      std::chrono::floor<std::chrono::seconds>(options_.silence).count(),
      heard_ ? ""
             : "Usual causes: the wrong port (\"veltra devices\" lists them), a baud rate that is "
               "not the modem's, or a trace that is not enabled in the modem. ");
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
                   "Still searching; Ctrl-C ends.\n",
                   format_bytes(static_cast<double>(searched_)), options_.port);
    next_draw_ = now;
  }
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
