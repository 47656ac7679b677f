#include "host/explain/explanation.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <numeric>
#include <system_error>

#include "host/console.h"
#include "host/database/database_lint.h"
#include "host/database/database_match.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "platform/file.h"
#include "platform/shell.h"

namespace veltra::host {

namespace {

using diagnosis::trace_analysis;
using kovax::json;

platform::owned_file open_input_trace(const std::string& trace) {
  const std::filesystem::path path = platform::path_from_utf8(trace);
  std::error_code error;
  if (!std::filesystem::exists(path, error) && !error) {
    throw user_error(exit_code::bad_input,
                     fmt::format("there is no file {}; check the name.", trace));
  }
  if (!error && !std::filesystem::is_regular_file(path, error) && !error) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} is not a regular file; give the trace's own file.", trace));
  }
  platform::owned_file file(platform::open_file(path, platform::open_mode::read));
  if (!file) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} cannot be read: {}; check its permissions.", trace,
                                 std::generic_category().message(errno)));
  }
  return file;
}

void require_loadable(const std::string& database) {
  for (const finding& each : lint_database_file(platform::path_from_utf8(database)).findings) {
    if (each.severity != severity::fatal) continue;
    throw user_error(exit_code::bad_input,
                     fmt::format("{}: {}; all its faults: veltra db lint {}", database,
                                 describe_finding(each), platform::shell_word(database)));
  }
}

template <typename Counts>
std::uint64_t total(const Counts& counts) {
  return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const auto& each) { return sum + each.second; });
}

class table {
 public:
  void add(int indent, std::string_view name, std::string_view value) {
    fmt::format_to(std::back_inserter(text), "{:{}}{:<{}}{:>9}\n", "", 2 * indent, sanitize(name),
                   58 - 2 * indent, value);
  }
  void add(int indent, std::string_view name, std::uint64_t count) {
    add(indent, name, std::to_string(count));
  }
  void add_uuid(std::string_view name, const std::string& uuid, std::string_view remark) {
    fmt::format_to(std::back_inserter(text), "  {:<30}{}{}\n", name,
                   uuid.empty() ? "none" : sanitize(uuid), remark);
  }

  std::string text;
};

void add_frames(table& lines, const trace_analysis& analysis) {
  lines.add(1, "frames found", analysis.frames_found);
  lines.add(2, "intact", analysis.frames_intact);
  lines.add(3, "of unknown masters", total(analysis.unknown_masters));
  for (const auto& [master, count] : analysis.unknown_masters) {
    lines.add(4, fmt::format("master {}", master), count);
  }
  lines.add(2, "damaged", analysis.frames_damaged);
  lines.add(1, "bytes outside of frames", analysis.bytes_outside_frames);
}

// " (mostly: REASON)", or nothing.
std::string most_frequent_reason(const std::map<std::string, std::uint64_t>& reasons) {
  const auto most = std::max_element(
      reasons.begin(), reasons.end(),
      [](const auto& left, const auto& right) { return left.second < right.second; });
  return most == reasons.end() ? "" : fmt::format(" (mostly: {})", most->first);
}

json object_of(const std::map<std::string, std::uint64_t>& counts) {
  json object = json::object();
  for (const auto& [name, count] : counts) object[name] = count;
  return object;
}

}  // namespace

trace_analysis analyse_trace(const std::string& trace, const std::string& database) {
  const platform::owned_file file = open_input_trace(trace);
  require_loadable(database);
  diagnosis::trace_analyser analyser(platform::path_from_utf8(database));
  std::array<char, 65536> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    analyser.take({block.data(), count});
  }
  if (std::ferror(file.get()) != 0) {
    throw user_error(exit_code::bad_input, fmt::format("{} cannot be read to its end.", trace));
  }
  return analyser.result();
}

std::string format_analysis(const std::string& trace, const std::string& database,
                            const trace_analysis& analysis) {
  table lines;
  lines.text = fmt::format("{}: {} bytes of trace, read with {}\n", sanitize(trace), analysis.bytes,
                           sanitize(database));
  lines.add_uuid("database that the trace names", analysis.stream_uuid, "");
  const bool fits = !analysis.stream_uuid.empty() && analysis.stream_uuid == analysis.database_uuid;
  lines.add_uuid("database in use", analysis.database_uuid,
                 analysis.stream_uuid.empty() ? ""
                 : fits                       ? ", the same"
                                              : ", ANOTHER ONE");
  if (!analysis.is_open_format) {
    lines.text += "  The database configures another decoder, whose frames are not known here.\n";
  } else {
    add_frames(lines, analysis);
    lines.add(1, "traces", analysis.traces);
    for (const auto& [type, count] : analysis.traces_by_type) {
      lines.add(2, fmt::format("master {}, {}", type.first, type.second), count);
    }
  }
  lines.add(1, "packets", total(analysis.packets_by_layer));
  for (const auto& [layer, count] : analysis.packets_by_layer) lines.add(2, layer, count);
  if (!analysis.is_open_format) return lines.text;
  lines.add(1, "traces that became no packet", total(analysis.traces_without_packet));
  for (const auto& [reason, count] : analysis.traces_without_packet) lines.add(2, reason, count);
  return lines.text;
}

std::string format_analysis_json(const std::string& trace, const std::string& database,
                                 const trace_analysis& analysis) {
  json report = {{"trace", trace},
                 {"database", database},
                 {"bytes", analysis.bytes},
                 {"stream_uuid", analysis.stream_uuid},
                 {"database_uuid", analysis.database_uuid},
                 {"database_fits", nullptr},
                 {"packets", object_of(analysis.packets_by_layer)}};
  if (!analysis.stream_uuid.empty()) {
    report["database_fits"] = analysis.stream_uuid == analysis.database_uuid;
  }
  if (analysis.is_open_format) {
    json masters = json::object();
    for (const auto& [master, count] : analysis.unknown_masters) {
      masters[std::to_string(master)] = count;
    }
    report["frames"] = {{"found", analysis.frames_found},
                        {"intact", analysis.frames_intact},
                        {"damaged", analysis.frames_damaged},
                        {"unknown_masters", std::move(masters)},
                        {"bytes_outside", analysis.bytes_outside_frames}};
    json traces = json::array();
    for (const auto& [type, count] : analysis.traces_by_type) {
      traces.push_back({{"master", type.first}, {"type", type.second}, {"count", count}});
    }
    report["traces"] = std::move(traces);
    report["without_packet"] = object_of(analysis.traces_without_packet);
  }
  return report.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string summarise_analysis(const trace_analysis& analysis) {
  std::string text;
  const auto out = std::back_inserter(text);
  if (analysis.is_open_format) {
    fmt::format_to(out,
                   "Its {} bytes contain {} frames ({} intact, {} damaged, {} of unknown masters) "
                   "and {} traces, {} of which became no packet{}",
                   analysis.bytes, analysis.frames_found, analysis.frames_intact,
                   analysis.frames_damaged, total(analysis.unknown_masters), analysis.traces,
                   total(analysis.traces_without_packet),
                   most_frequent_reason(analysis.traces_without_packet));
  } else {
    fmt::format_to(out, "Its frames are those of another decoder");
  }
  const auto mismatch = describe_mismatch(analysis.stream_uuid, analysis.database_uuid);
  return text + (mismatch ? "; " + *mismatch : "") + ".";
}

}  // namespace veltra::host
