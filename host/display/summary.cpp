#include "host/display/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/console.h"

namespace veltra::host {

namespace {

const char* plural(std::uint64_t count) {
  return count == 1 ? "" : "s";
}

}  // namespace

std::string format_bytes(double bytes) {
  constexpr const char* units[] = {"kB", "MB", "GB", "TB"};
  // 999.5 would be printed as 1000, and below as 1000.0 what is 999.95.
  if (bytes < 999.5) return fmt::format("{:.0f} B", bytes);
  std::size_t unit = 0;
  for (bytes /= 1000; bytes >= 999.95 && unit + 1 < std::size(units); ++unit) bytes /= 1000;
  return fmt::format("{:.1f} {}", bytes, units[unit]);
}

std::string format_summary(const run_statistics& statistics, const summary_facts& facts) {
  std::string text;
  const auto out = std::back_inserter(text);
  const std::uint64_t keys = facts.has_keys ? statistics.tls_keys() : 0;
  fmt::format_to(out, "{}: {} packet{}{} from {} of trace{}\n", sanitize(facts.output),
                 facts.packets, plural(facts.packets),
                 keys == 0 ? "" : fmt::format(", {} TLS key{}", keys, plural(keys)),
                 format_bytes(static_cast<double>(statistics.raw_bytes())),
                 facts.interrupted ? ", interrupted before its end" : "");
  for (const auto& [layer, count] : statistics.packets_by_layer()) {
    fmt::format_to(out, "  {:<22}{:>9}\n", sanitize(layer), count);
  }
  fmt::format_to(out, "  {:<22}{:>9}\n", "dropped traces", statistics.dropped_traces());
  if (statistics.damaged_frames() != 0) {
    fmt::format_to(out, "  {:<22}{:>9}\n", "damaged frames", statistics.damaged_frames());
  }
  // An interruption falls at an arbitrary byte.
  if (statistics.unfinished_bytes() != 0 && !facts.interrupted) {
    const std::uint64_t bytes = statistics.unfinished_bytes();
    fmt::format_to(out, "  {:<22}inside a frame, after {} byte{} of it\n", "end of the trace",
                   bytes, plural(bytes));
  }
  if (!facts.remarks.empty()) {
    fmt::format_to(out, "  {:<22}{}\n", "remarks", facts.remarks);
  }
  fmt::format_to(
      out, "  {:<22}{}\n", "database UUID",
      statistics.database_uuid().empty() ? "none" : sanitize(statistics.database_uuid()));
  if (facts.stream_uuid && *facts.stream_uuid != statistics.database_uuid()) {
    fmt::format_to(out, "  {:<22}{}\n", "trace's database",
                   facts.stream_uuid->empty() ? "not named in the trace" : *facts.stream_uuid);
  }
  const double seconds = std::max(facts.elapsed.count(), 1e-6);
  fmt::format_to(out, "  {:<22}{:.2f} s, {:.1f} MB/s\n", "time", facts.elapsed.count(),
                 static_cast<double>(statistics.raw_bytes()) / 1e6 / seconds);
  return text;
}

}  // namespace veltra::host
