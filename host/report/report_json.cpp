#include "host/report/report_json.h"

#include <cmath>
#include <optional>

#include "host/report/events.h"

namespace veltra::report {

namespace {

using kovax::json;

// Microseconds are enough for a duration.
json rounded(double milliseconds) {
  return std::round(milliseconds * 1000) / 1000;
}

template <typename Value>
json or_null(const std::optional<Value>& value) {
  return value ? json(*value) : json(nullptr);
}

json to_json(const cell& each) {
  return {{"frame", each.frame},
          {"time", each.time},
          {"plmns", each.plmns},
          {"tac", or_null(each.tac)},
          {"cell_identity", or_null(each.identity)},
          {"band", or_null(each.band)},
          {"pci", or_null(each.pci)},
          {"earfcn", or_null(each.earfcn)},
          {"narrow_band", each.is_narrow_band}};
}

json to_json(const failure& each) {
  return {{"frame", each.frame},
          {"time", each.time},
          {"what", each.what},
          {"cause", each.cause ? report::to_json(*each.cause) : json(nullptr)},
          {"because", each.because},
          {"advice", each.advice}};
}

json to_json(const at_command& each) {
  return {{"command", each.command},
          {"first_frame", each.first_frame},
          {"last_frame", each.last_frame},
          {"time", each.begin},
          {"ms", rounded(each.milliseconds())},
          {"result", each.is_answered() ? json(each.result) : json(nullptr)},
          {"error", each.is_error}};
}

json to_json(const tls_session& each) {
  return {{"stream", each.stream},
          {"server_name", each.server_name},
          {"first_frame", each.first_frame},
          {"last_frame", each.last_frame},
          {"time", each.begin},
          {"ms", rounded(each.milliseconds())},
          {"established", each.is_established},
          {"failure", each.failure}};
}

json to_json(const tcp_connection& each) {
  return {{"stream", each.stream},
          {"client", each.client},
          {"server", each.server},
          {"first_frame", each.first_frame},
          {"time", each.begin},
          {"seconds", static_cast<double>(each.end - each.begin) / 1e9},
          {"packets", each.packets},
          {"payload_bytes", each.bytes},
          {"retransmissions", each.retransmissions},
          {"reset", each.is_reset}};
}

json to_json(const loss& each) {
  return {{"frame", each.frame}, {"begin", each.begin}, {"end", each.end}, {"traces", each.traces}};
}

json to_json(const ip_summary& ip) {
  json result = {{"packets", ip.packets},
                 {"bytes_up", ip.bytes_up},
                 {"bytes_down", ip.bytes_down},
                 {"modem_address", ip.modem_address},
                 {"tcp_retransmissions", ip.retransmissions.size()},
                 {"tcp_connections", json::array()},
                 {"tls_sessions", json::array()}};
  for (const tcp_connection& each : ip.connections) {
    result["tcp_connections"].push_back(to_json(each));
  }
  for (const tls_session& each : ip.sessions) result["tls_sessions"].push_back(to_json(each));
  return result;
}

json events_of(const analysis& all) {
  const event_index index(all);
  json result = json::array();
  for (const message& each : all.messages) {
    const procedure* const procedure = index.procedure_of(each);
    const cause* const why = index.cause_of(each);
    result.push_back(
        {{"frame", each.frame},
         {"time", each.time},
         {"layer", layer_name(each.layer)},
         {"direction", direction_name(each.direction)},
         {"message", each.name},
         {"procedure", procedure ? json(procedure_id(procedure->kind)) : json(nullptr)},
         {"cause", why ? report::to_json(*why) : json(nullptr)}});
  }
  return result;
}

template <typename Values>
json list_of(const Values& values) {
  json result = json::array();
  for (const auto& each : values) result.push_back(to_json(each));
  return result;
}

json indicators_of(std::span<const analysis> captures) {
  json result = json::array();
  for (const indicator& each : find_indicators(captures)) result.push_back(report::to_json(each));
  return result;
}

json to_json(const analysis& all, bool with_events) {
  json result = {
      {"file", all.file},
      {"frames", all.frames},
      {"begin", all.begin},
      {"end", all.end},
      {"cut_off", all.is_cut_off},
      {"tshark",
       {{"version", all.dissection.version},
        {"unknown_fields", all.dissection.unknown_fields},
        {"failure", all.dissection.lack.empty() ? all.dissection.failure : all.dissection.lack}}},
      {"state", registration_id(all.verdict.state)},
      {"headline", all.verdict.headline},
      {"attach_ms", all.verdict.attach_ms ? rounded(*all.verdict.attach_ms) : json(nullptr)},
      {"cell", all.verdict.cell ? to_json(all.cells[*all.verdict.cell]) : json(nullptr)},
      {"cells", list_of(all.cells)},
      {"remarks", all.verdict.remarks},
      {"failures", list_of(all.verdict.failures)},
      {"traces_lost", all.traces_lost()},
      {"losses", list_of(all.losses)},
      {"at_commands", list_of(all.at_commands)},
      {"ip", to_json(all.ip)},
      {"indicators", indicators_of({&all, 1})}};
  json procedures = json::array();
  for (const procedure& each : all.procedures) procedures.push_back(report::to_json(each));
  result["procedures"] = std::move(procedures);
  if (with_events) result["events"] = events_of(all);
  return result;
}

}  // namespace

json to_json(const cause& why) {
  return {{"protocol", why.protocol},
          {"number", or_null(why.number)},
          {"words", why.words},
          {"clause", why.clause}};
}

json to_json(const indicator& figures) {
  return {{"name", figures.name},
          {"count", figures.count},
          {"succeeded", figures.succeeded},
          {"success_rate", std::round(figures.success_rate() * 10000) / 10000},
          {"median_ms", figures.median_ms ? rounded(*figures.median_ms) : json(nullptr)},
          {"p95_ms", figures.p95_ms ? rounded(*figures.p95_ms) : json(nullptr)},
          {"causes", figures.causes}};
}

json to_json(const procedure& run) {
  return {{"procedure", procedure_id(run.kind)},
          {"first_frame", run.first_frame()},
          {"last_frame", run.last_frame()},
          {"time", run.begin},
          {"ms", rounded(run.milliseconds())},
          {"result", result_id(run.result)},
          {"outcome", run.outcome},
          {"cause", run.cause ? to_json(*run.cause) : json(nullptr)},
          {"retransmissions", run.retransmissions},
          {"traces_lost", run.traces_lost}};
}

std::string report_json(std::span<const analysis> captures, bool with_events,
                        const baseline_comparison* comparison) {
  json list = json::array();
  for (const analysis& each : captures) list.push_back(to_json(each, with_events));
  json whole = {{"format", report_format},
                {"program", "veltra " VELTRA_VERSION},
                {"captures", std::move(list)},
                {"indicators", indicators_of(captures)}};
  if (comparison != nullptr) whole["baseline"] = to_json(*comparison);
  return dump_json(whole, 1) + "\n";
}

std::string dump_json(const json& value, int indent) {
  return value.dump(indent, ' ', false, json::error_handler_t::replace);
}

}  // namespace veltra::report
