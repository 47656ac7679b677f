#include "host/report/report_csv.h"

#include <fmt/format.h>

#include <initializer_list>
#include <string_view>

#include "host/report/events.h"
#include "host/report/indicators.h"

namespace veltra::report {

namespace {

void append_cell(std::string& to, std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    to += text;
    return;
  }
  to += '"';
  for (const char each : text) {
    if (each == '"') to += '"';
    to += each;
  }
  to += '"';
}

void append_row(std::string& to, std::initializer_list<std::string_view> cells) {
  bool is_first = true;
  for (const std::string_view cell : cells) {
    if (!is_first) to += ',';
    is_first = false;
    append_cell(to, cell);
  }
  to += '\n';
}

std::string decimal(double value) {
  return fmt::format("{:.3f}", value);
}

std::string decimal_or_empty(const std::optional<double>& value) {
  return value ? decimal(*value) : std::string();
}

void append_indicators(std::string& to, std::string_view capture,
                       std::span<const analysis> captures) {
  for (const indicator& each : find_indicators(captures)) {
    std::string causes;
    for (const auto& [words, count] : each.causes) {
      if (!causes.empty()) causes += "; ";
      causes += fmt::format("{} x {}", count, words);
    }
    append_row(to, {capture, each.name, std::to_string(each.count), std::to_string(each.succeeded),
                    fmt::format("{:.4f}", each.success_rate()), decimal_or_empty(each.median_ms),
                    decimal_or_empty(each.p95_ms), causes});
  }
}

}  // namespace

std::string events_csv(std::span<const analysis> captures) {
  std::string result = "capture,frame,time,layer,direction,message,procedure,cause\n";
  for (const analysis& all : captures) {
    const event_index index(all);
    for (const message& each : all.messages) {
      const procedure* const procedure = index.procedure_of(each);
      const cause* const why = index.cause_of(each);
      append_row(result, {all.file, std::to_string(each.frame), std::to_string(each.time),
                          layer_name(each.layer), direction_name(each.direction), each.name,
                          procedure ? procedure_id(procedure->kind) : std::string_view(),
                          why ? why->text() : std::string()});
    }
  }
  return result;
}

std::string procedures_csv(std::span<const analysis> captures) {
  std::string result =
      "capture,procedure,first_frame,last_frame,time,ms,result,outcome,cause,"
      "retransmissions,traces_lost\n";
  for (const analysis& all : captures) {
    for (const procedure& each : all.procedures) {
      append_row(result, {all.file, procedure_id(each.kind), std::to_string(each.first_frame()),
                          std::to_string(each.last_frame()), std::to_string(each.begin),
                          decimal(each.milliseconds()), result_id(each.result), each.outcome,
                          each.cause ? each.cause->text() : std::string(),
                          std::to_string(each.retransmissions), std::to_string(each.traces_lost)});
    }
  }
  return result;
}

std::string indicators_csv(std::span<const analysis> captures) {
  std::string result = "capture,indicator,count,succeeded,success_rate,median_ms,p95_ms,causes\n";
  for (const analysis& all : captures) append_indicators(result, all.file, {&all, 1});
  if (captures.size() > 1) append_indicators(result, "", captures);
  return result;
}

}  // namespace veltra::report
