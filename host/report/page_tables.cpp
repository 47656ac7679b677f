#include "host/report/page_tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "host/report/html_text.h"
#include "host/report/page_parts.h"

namespace veltra::report {

namespace {

// Rows beyond this are left to the JSON and CSV outputs.
constexpr std::size_t max_rows = 500;

std::string more_rows(std::size_t count) {
  if (count <= max_rows) return {};
  return fmt::format(
      "<p class=\"muted\">{} more rows are in the JSON and CSV forms of this report.</p>\n",
      count - max_rows);
}

std::string open_table(std::string_view id, std::string_view title, std::string_view columns) {
  return fmt::format(
      "<section class=\"long\" aria-labelledby=\"h-{0}\">\n<h2 id=\"h-{0}\">{1}</h2>\n"
      "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"{1}\">"
      "<table class=\"sortable\"><thead><tr>{2}</tr></thead><tbody>\n",
      id, title, columns);
}

std::string close_table(std::size_t rows) {
  return "</tbody></table></div>\n" + more_rows(rows) + "</section>\n";
}

std::string duration_cell(double milliseconds) {
  return fmt::format("<td class=\"number\" data-value=\"{}\">{}</td>", milliseconds,
                     duration_text(milliseconds));
}

std::string frame_cell(const analysis& all, std::uint32_t frame, std::uint64_t time) {
  return fmt::format("<td data-value=\"{}\">{}</td>", frame, moment_link(all, frame, time));
}

std::string result_badge(std::string_view css_class, std::string_view words) {
  return fmt::format("<span class=\"result {}\">{}</span>", css_class, escape_html(words));
}

// A link that also shows a stretch of the time axis.
std::string stretch_link(const analysis& all, const procedure& run) {
  return fmt::format(
      "<a class=\"moment\" href=\"#frame={}\" data-from=\"{}\" data-to=\"{}\">frame {}</a>",
      run.first_frame(), run.begin - all.begin, std::max(run.begin, run.end) - all.begin,
      run.first_frame());
}

struct phase {
  std::uint64_t begin;
  std::uint64_t end;
  std::string title;  // empty: nothing was exchanged
};

// The procedures inside an attach one after the other, and the time between them, in which the
// network or the modem works without a message.
std::vector<phase> phases_of(const analysis& all, const procedure& attach) {
  std::vector<phase> result;
  std::uint64_t at = attach.begin;
  for (const procedure& each : all.procedures) {
    switch (each.kind) {
      case procedure_kind::rrc_setup:
      case procedure_kind::identification:
      case procedure_kind::authentication:
      case procedure_kind::nas_security:
      case procedure_kind::as_security:
      case procedure_kind::esm_information:
      case procedure_kind::rrc_reconfiguration:
        break;
      default:
        continue;
    }
    const std::uint64_t begin = std::max(each.begin, at);
    const std::uint64_t end = std::min(each.end, attach.end);
    if (each.begin < attach.begin || begin >= end) continue;
    if (begin > at) result.push_back({at, begin, {}});
    result.push_back({begin, end, std::string(procedure_title(each.kind))});
    at = end;
  }
  if (at < attach.end) result.push_back({at, attach.end, {}});
  return result;
}

std::string attach_phases(const analysis& all) {
  const auto attach =
      std::find_if(all.procedures.rbegin(), all.procedures.rend(), [](const procedure& each) {
        return each.kind == procedure_kind::attach && each.result == procedure_result::succeeded;
      });
  if (attach == all.procedures.rend() || attach->milliseconds() <= 0) return {};
  std::string bar;
  std::string legend;
  double waiting = 0;
  int color = 0;
  for (const phase& each : phases_of(all, *attach)) {
    const double share = static_cast<double>(each.end - each.begin) / 1e4 / attach->milliseconds();
    const double ms = static_cast<double>(each.end - each.begin) / 1e6;
    if (each.title.empty()) {
      waiting += ms;
      bar += fmt::format("<span class=\"wait\" style=\"width:{:.2f}%\"></span>", share);
      continue;
    }
    const int css = color++ % 4;
    bar += fmt::format("<span class=\"p{}\" style=\"width:{:.2f}%\" title=\"{} {}\"></span>", css,
                       share, each.title, duration_text(ms));
    legend +=
        fmt::format("<li><i class=\"p{}\"></i>{} {}</li>\n", css, each.title, duration_text(ms));
  }
  legend += fmt::format("<li><i class=\"wait\"></i>in between {}</li>\n", duration_text(waiting));
  return fmt::format(
      "<h3>The attach that succeeded, {} ({})</h3>\n<div class=\"phases\" aria-hidden=\"true\">{}"
      "</div>\n<ul class=\"legend\">\n{}</ul>\n",
      duration_text(attach->milliseconds()), stretch_link(all, *attach), bar, legend);
}

struct wait_row {
  double ms;
  std::string what;
  std::string where;
};

// An attach that is part of the time up to the next one.
bool is_inside_pause(const analysis& all, const procedure& inner) {
  return std::any_of(all.procedures.begin(), all.procedures.end(), [&](const procedure& each) {
    return each.result == procedure_result::waited && &each != &inner &&
           each.begin <= inner.begin && inner.end <= each.end;
  });
}

// What took time without getting anywhere: refused or unanswered procedures, pauses that the
// network asked for, and silence.
std::vector<wait_row> longest_waits(const analysis& all) {
  constexpr std::size_t max_waits = 6;
  constexpr double min_ms = 20;
  std::vector<wait_row> result;
  for (const procedure& each : all.procedures) {
    if (each.result == procedure_result::succeeded || each.milliseconds() < min_ms) continue;
    if (each.kind == procedure_kind::pdn_connectivity || is_inside_pause(all, each)) continue;
    result.push_back({each.milliseconds(),
                      fmt::format("{}: {}", procedure_title(each.kind), each.outcome),
                      stretch_link(all, each)});
  }
  for (const loss& each : all.losses) {
    const double ms = static_cast<double>(each.end - each.begin) / 1e6;
    if (each.traces == 0) {
      result.push_back({ms, "no message at all", moment_link(all, each.frame, each.end)});
    }
  }
  std::stable_sort(result.begin(), result.end(),
                   [](const wait_row& a, const wait_row& b) { return a.ms > b.ms; });
  if (result.size() > max_waits) result.resize(max_waits);
  return result;
}

}  // namespace

std::string moment_link(const analysis& all, std::uint32_t frame, std::uint64_t time) {
  const double seconds = static_cast<double>(time - std::min(time, all.begin)) / 1e9;
  return fmt::format("<a class=\"moment\" href=\"#frame={}\">frame {}, {:.3f} s</a>", frame, frame,
                     seconds);
}

std::string phases_section(const analysis& all) {
  const std::string attach = attach_phases(all);
  const std::vector<wait_row> waits = longest_waits(all);
  if (attach.empty() && waits.empty()) return {};
  std::string result =
      "<section aria-labelledby=\"h-lost\">\n<h2 id=\"h-lost\">Where the time went</h2>\n";
  if (!waits.empty()) {
    result += "<table class=\"waits\"><tbody>\n";
    for (const wait_row& each : waits) {
      result += fmt::format(
          "<tr><td class=\"number\">{}</td><td class=\"share\"><span class=\"bar\" "
          "style=\"width:{:.1f}%\"></span></td><td>{}</td><td>{}</td></tr>\n",
          duration_text(each.ms), 100 * each.ms / waits.front().ms, escape_html(each.what),
          each.where);
    }
    result += "</tbody></table>\n";
  }
  return result + attach + "</section>\n";
}

std::string procedures_section(const analysis& all) {
  if (all.procedures.empty()) return {};
  std::string result =
      open_table("procedures", "Procedures",
                 "<th>Procedure</th><th>Outcome</th><th class=\"number\">Duration</th>"
                 "<th>Cause</th><th>Begin</th><th>End</th>");
  for (std::size_t i = 0; i < std::min(all.procedures.size(), max_rows); ++i) {
    const procedure& each = all.procedures[i];
    std::string cause = each.cause ? escape_html(each.cause->text()) : std::string();
    if (each.retransmissions != 0) {
      cause += fmt::format("{}{}", cause.empty() ? "" : "; ",
                           counted(each.retransmissions, "retransmission"));
    }
    result +=
        fmt::format("<tr><td>{}</td><td>{}</td>{}<td>{}</td><td data-value=\"{}\">{}</td>{}</tr>\n",
                    procedure_title(each.kind), result_badge(result_id(each.result), each.outcome),
                    duration_cell(each.milliseconds()), cause, each.first_frame(),
                    stretch_link(all, each), frame_cell(all, each.last_frame(), each.end));
  }
  return result + close_table(all.procedures.size());
}

std::string commands_section(const analysis& all) {
  if (all.at_commands.empty()) return {};
  std::string result = open_table("commands", "AT commands",
                                  "<th>Command</th><th>Result</th>"
                                  "<th class=\"number\">Latency</th><th>Where</th>");
  for (std::size_t i = 0; i < std::min(all.at_commands.size(), max_rows); ++i) {
    const at_command& each = all.at_commands[i];
    const char* const css_class = each.is_error        ? "failed"
                                  : each.is_answered() ? "succeeded"
                                                       : "unanswered";
    result +=
        fmt::format("<tr><td><code>{}</code></td><td>{}</td>{}{}</tr>\n", escape_html(each.command),
                    result_badge(css_class, each.is_answered() ? each.result : "no result"),
                    each.is_answered() ? duration_cell(each.milliseconds())
                                       : "<td class=\"number\" data-value=\"-1\">–</td>",
                    frame_cell(all, each.first_frame, each.begin));
  }
  return result + close_table(all.at_commands.size());
}

std::string traffic_section(const analysis& all) {
  std::string result;
  if (!all.ip.sessions.empty()) {
    result += open_table("tls", "TLS sessions",
                         "<th>Server</th><th>Handshake</th><th class=\"number\">Duration</th>"
                         "<th>Where</th>");
    for (std::size_t i = 0; i < std::min(all.ip.sessions.size(), max_rows); ++i) {
      const tls_session& each = all.ip.sessions[i];
      const std::string outcome = each.is_established    ? "established"
                                  : each.failure.empty() ? "not finished"
                                                         : each.failure;
      const char* const css_class = each.is_established    ? "succeeded"
                                    : each.failure.empty() ? "unfinished"
                                                           : "failed";
      result += fmt::format("<tr><td>{}</td><td>{}</td>{}{}</tr>\n",
                            each.server_name.empty() ? fmt::format("TCP stream {}", each.stream)
                                                     : escape_html(each.server_name),
                            result_badge(css_class, outcome), duration_cell(each.milliseconds()),
                            frame_cell(all, each.first_frame, each.begin));
    }
    result += close_table(all.ip.sessions.size());
  }
  if (!all.ip.connections.empty()) {
    result += open_table("tcp", "TCP connections",
                         "<th>From</th><th>To</th><th class=\"number\">Payload</th>"
                         "<th class=\"number\">Packets</th>"
                         "<th class=\"number\">Retransmissions</th><th>End</th><th>Where</th>");
    for (std::size_t i = 0; i < std::min(all.ip.connections.size(), max_rows); ++i) {
      const tcp_connection& each = all.ip.connections[i];
      result += fmt::format(
          "<tr><td>{}</td><td>{}</td><td class=\"number\" data-value=\"{}\">{}</td>"
          "<td class=\"number\" data-value=\"{}\">{}</td>"
          "<td class=\"number\" data-value=\"{}\">{}</td><td>{}</td>{}</tr>\n",
          escape_html(each.client), escape_html(each.server), each.bytes, bytes_text(each.bytes),
          each.packets, each.packets, each.retransmissions, each.retransmissions,
          each.is_reset ? result_badge("failed", "reset") : std::string(),
          frame_cell(all, each.first_frame, each.begin));
    }
    result += close_table(all.ip.connections.size());
  }
  return result;
}

std::string cells_section(const analysis& all) {
  if (all.cells.size() < 2) return {};
  std::string result = open_table("cells", "Cells",
                                  "<th>Cell</th><th>PLMN</th><th>TAC</th><th>Band</th>"
                                  "<th>PCI</th><th>EARFCN</th><th>First read</th>");
  const auto number = [](const std::optional<std::uint32_t>& value) {
    return value ? std::to_string(*value) : std::string("–");
  };
  for (std::size_t i = 0; i < std::min(all.cells.size(), max_rows); ++i) {
    const cell& each = all.cells[i];
    result += fmt::format(
        "<tr><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td>{}</tr>\n",
        each.identity ? fmt::format("0x{:07X}", *each.identity) : "–",
        escape_html(fmt::format("{}", fmt::join(each.plmns, ", "))),
        each.tac ? fmt::format("0x{:04X}", *each.tac) : "–", number(each.band), number(each.pci),
        number(each.earfcn), frame_cell(all, each.frame, each.time));
  }
  return result + close_table(all.cells.size());
}

}  // namespace veltra::report
