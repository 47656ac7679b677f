// Reads back what report_json.cpp writes, as far as a comparison needs it.
#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/report/baseline.h"
#include "host/report/report_json.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::report {

namespace {

using host::exit_code;
using host::user_error;
using kovax::json;

// The value whose name `name_of` gives is `name`; throws std::out_of_range without one.
template <typename Value, typename NameOf>
Value named(std::string_view name, int count, NameOf name_of) {
  for (int i = 0; i < count; ++i) {
    if (name_of(static_cast<Value>(i)) == name) return static_cast<Value>(i);
  }
  throw std::out_of_range(fmt::format("\"{}\" is not a known name", name));
}

cause read_cause(const json& from) {
  cause result;
  result.protocol = from.at("protocol");
  if (!from.at("number").is_null()) result.number = from.at("number").get<int>();
  result.words = from.at("words");
  result.clause = from.at("clause");
  return result;
}

// Durations are kept; the moments are not needed.
std::uint64_t nanoseconds(const json& milliseconds) {
  return static_cast<std::uint64_t>(std::max(0.0, milliseconds.get<double>()) * 1e6);
}

procedure read_procedure(const json& from) {
  procedure result;
  result.kind = named<procedure_kind>(from.at("procedure").get<std::string>(),
                                      static_cast<int>(procedure_kind::count), procedure_id);
  result.end = nanoseconds(from.at("ms"));
  result.result =
      named<procedure_result>(from.at("result").get<std::string>(),
                              static_cast<int>(procedure_result::waited) + 1, result_id);
  result.outcome = from.at("outcome");
  if (!from.at("cause").is_null()) result.cause = read_cause(from.at("cause"));
  result.frames = {from.at("first_frame").get<std::uint32_t>(),
                   from.at("last_frame").get<std::uint32_t>()};
  return result;
}

at_command read_at_command(const json& from) {
  at_command result;
  result.command = from.at("command");
  result.end = nanoseconds(from.at("ms"));
  if (!from.at("result").is_null()) result.result = from.at("result");
  result.is_error = from.at("error");
  return result;
}

tls_session read_tls_session(const json& from) {
  tls_session result;
  result.end = nanoseconds(from.at("ms"));
  result.is_established = from.at("established");
  result.failure = from.at("failure");
  return result;
}

analysis read_capture_entry(const json& from) {
  analysis result;
  result.file = from.at("file");
  result.verdict.state =
      named<registration>(from.at("state").get<std::string>(),
                          static_cast<int>(registration::detached) + 1, registration_id);
  for (const json& each : from.at("procedures")) result.procedures.push_back(read_procedure(each));
  for (const json& each : from.at("at_commands")) {
    result.at_commands.push_back(read_at_command(each));
  }
  for (const json& each : from.at("ip").at("tls_sessions")) {
    result.ip.sessions.push_back(read_tls_session(each));
  }
  result.losses.push_back({.traces = from.at("traces_lost").get<std::uint64_t>()});
  return result;
}

[[noreturn]] void fail(const std::filesystem::path& path, std::string_view why) {
  throw user_error(exit_code::bad_input,
                   fmt::format("cannot compare with {}: {}.", platform::path_to_utf8(path), why));
}

void read_report(const std::filesystem::path& path, std::vector<analysis>& into) {
  std::ifstream file(path, std::ios::binary);
  try {
    const json whole = json::parse(file);
    if (whole.at("format") != report_format) {
      fail(path, "it is a report of another version; make it again with this one");
    }
    for (const json& each : whole.at("captures")) into.push_back(read_capture_entry(each));
  } catch (const json::exception& error) {
    fail(path, fmt::format("it is not a report that --format json wrote ({})", error.what()));
  } catch (const std::out_of_range& error) {
    fail(path, fmt::format("it is not a report that --format json wrote ({})", error.what()));
  }
}

}  // namespace

std::vector<analysis> read_reports(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (std::filesystem::directory_iterator each(directory, error), end; !error && each != end;
       each.increment(error)) {
    if (each->path().extension() == ".json") files.push_back(each->path());
  }
  if (error) fail(directory, error.message());
  if (files.empty()) {
    fail(directory, "it has no report (*.json); write one there with --format json");
  }
  std::sort(files.begin(), files.end());
  std::vector<analysis> result;
  for (const std::filesystem::path& each : files) read_report(each, result);
  return result;
}

}  // namespace veltra::report
