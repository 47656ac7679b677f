#include "host/report/indicators.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace veltra::report {

namespace {

// The runs of one indicator.
struct run_set {
  std::string title;
  std::uint64_t count = 0;
  std::vector<double> durations;  // of those that succeeded
  std::map<std::string, std::uint64_t> causes;
};

std::string cause_key(const procedure& failed) {
  if (failed.cause) return failed.cause->text();
  return failed.result == procedure_result::unanswered ? "no answer" : "no cause given";
}

void count_procedure(run_set& runs, const procedure& each) {
  ++runs.count;
  if (each.result == procedure_result::succeeded) {
    runs.durations.push_back(each.milliseconds());
  } else {
    ++runs.causes[cause_key(each)];
  }
}

void count_at_command(run_set& runs, const at_command& each) {
  ++runs.count;
  if (!each.is_answered()) {
    ++runs.causes["no answer"];
  } else if (each.is_error) {
    const std::optional<cause> why = at_error_cause(each.result);
    ++runs.causes[why ? why->text() : each.result];
  } else {
    runs.durations.push_back(each.milliseconds());
  }
}

void count_tls_session(run_set& runs, const tls_session& each) {
  if (!each.is_established && each.failure.empty()) return;
  ++runs.count;
  if (each.is_established) {
    runs.durations.push_back(each.milliseconds());
  } else {
    ++runs.causes[each.failure];
  }
}

indicator sum_up(std::string name, run_set runs) {
  indicator result;
  result.name = std::move(name);
  result.title = std::move(runs.title);
  result.count = runs.count;
  result.succeeded = runs.durations.size();
  result.causes = std::move(runs.causes);
  result.median_ms = percentile(runs.durations, 0.5);
  result.p95_ms = percentile(std::move(runs.durations), 0.95);
  return result;
}

}  // namespace

std::optional<double> percentile(std::vector<double> values, double share) {
  if (values.empty()) return std::nullopt;
  std::sort(values.begin(), values.end());
  const double rank = std::ceil(share * static_cast<double>(values.size()));
  const auto index = static_cast<std::size_t>(std::max(rank, 1.0)) - 1;
  return values[std::min(index, values.size() - 1)];
}

std::vector<indicator> find_indicators(std::span<const analysis> captures) {
  std::map<procedure_kind, run_set> procedures;
  std::map<std::string, run_set> commands;
  run_set tls;
  for (const analysis& capture : captures) {
    for (const procedure& each : capture.procedures) {
      if (each.counts()) count_procedure(procedures[each.kind], each);
    }
    for (const at_command& each : capture.at_commands) {
      count_at_command(commands[at_command_name(each.command)], each);
    }
    for (const tls_session& each : capture.ip.sessions) count_tls_session(tls, each);
  }
  std::vector<indicator> result;
  for (auto& [kind, runs] : procedures) {
    runs.title = procedure_title(kind);
    result.push_back(sum_up(std::string(procedure_id(kind)), std::move(runs)));
  }
  if (tls.count != 0) {
    tls.title = "TLS handshake";
    result.push_back(sum_up("tls_handshake", std::move(tls)));
  }
  for (auto& [command, runs] : commands) {
    runs.title = "AT command " + command;
    result.push_back(sum_up("at:" + command, std::move(runs)));
  }
  return result;
}

}  // namespace veltra::report
