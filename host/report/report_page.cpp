#include "host/report/report_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string_view>

#include "host/report/html_text.h"
#include "host/report/page_data.h"
#include "host/report/page_parts.h"
#include "host/report/page_tables.h"
#include "page_files.h"

namespace veltra::report {

namespace {

// A fact of the answer; an empty value is one that the trace does not show.
std::string fact(std::string_view term, const std::string& value) {
  if (value.empty()) {
    return fmt::format("<div><dt>{}</dt><dd class=\"unknown\">not in the trace</dd></div>\n", term);
  }
  return fmt::format("<div><dt>{}</dt><dd>{}</dd></div>\n", term, escape_html(value));
}

std::string cell_facts(const cell& on) {
  std::string result;
  result += fact("PLMN", fmt::format("{}", fmt::join(on.plmns, ", ")));
  result += fact("TAC", on.tac ? fmt::format("0x{:04X} ({})", *on.tac, *on.tac) : "");
  result += fact("Cell", on.identity ? fmt::format("0x{:07X} (eNodeB {}, cell {})", *on.identity,
                                                   *on.identity >> 8U, *on.identity & 0xFFU)
                                     : "");
  result += fact(
      "Band", on.band ? fmt::format("{}{}", *on.band, on.is_narrow_band ? " (NB-IoT)" : "") : "");
  result += fact("PCI", on.pci ? std::to_string(*on.pci) : "");
  result += fact("EARFCN", on.earfcn ? std::to_string(*on.earfcn) : "");
  return result;
}

std::string facts(const analysis& all) {
  std::string result = "<dl class=\"facts\">\n";
  if (all.verdict.attach_ms) result += fact("Attach", duration_text(*all.verdict.attach_ms));
  if (all.verdict.cell) result += cell_facts(all.cells[*all.verdict.cell]);
  if (all.ip.packets != 0) {
    if (!all.ip.modem_address.empty()) {
      result += fact("Modem's address", all.ip.modem_address + " (" + all.ip.address_source + ")");
    }
    result +=
        fact("IP up, down", bytes_text(all.ip.bytes_up) + ", " + bytes_text(all.ip.bytes_down));
    result += fact("TCP retransmissions", std::to_string(all.ip.retransmissions.size()));
  }
  result += fact("Lost traces", std::to_string(all.traces_lost()));
  return result + "</dl>\n";
}

std::string verdict_section(const analysis& all) {
  const verdict& answer = all.verdict;
  std::string result = fmt::format(
      "<section class=\"verdict state-{}\" aria-labelledby=\"h-verdict\">\n"
      "<h2 id=\"h-verdict\"><span class=\"sign\" aria-hidden=\"true\">{}</span>{}</h2>\n",
      registration_id(answer.state), state_sign(answer.state), escape_html(answer.headline));
  result += facts(all);
  std::vector<std::string> remarks = answer.remarks;
  if (all.ip_packets_left_out != 0) {
    remarks.push_back(
        fmt::format("The ladder shows the first {} IP packets; {} more are in the sums only.",
                    max_ip_messages, all.ip_packets_left_out));
  }
  if (!remarks.empty()) {
    result += "<ul class=\"remarks\">\n";
    for (const std::string& each : remarks) {
      result += fmt::format("<li>{}</li>\n", escape_html(each));
    }
    result += "</ul>\n";
  }
  return result + "</section>\n";
}

std::string failure_item(const analysis& all, const failure& each) {
  const bool is_unanswered = each.what.find("unanswered") != std::string::npos;
  std::string result =
      fmt::format("<li{}><span class=\"where\">{}</span><strong>{}</strong>",
                  is_unanswered ? " class=\"unanswered\"" : "",
                  moment_link(all, each.frame, each.time), escape_html(each.text()));
  if (each.cause) {
    result += fmt::format(" <span class=\"muted\">({})</span>", escape_html(each.cause->clause));
  }
  if (!each.advice.empty()) result += fmt::format("<p>{}</p>", escape_html(each.advice));
  return result + "</li>\n";
}

std::string failures_section(const analysis& all) {
  constexpr std::size_t max_failures = 200;
  const std::vector<failure>& failures = all.verdict.failures;
  if (failures.empty()) return {};
  std::string result =
      "<section class=\"long\" aria-labelledby=\"h-failures\">\n"
      "<h2 id=\"h-failures\">Rejects and failures</h2>\n<ol class=\"failures\">\n";
  for (std::size_t i = 0; i < std::min(failures.size(), max_failures); ++i) {
    result += failure_item(all, failures[i]);
  }
  result += "</ol>\n";
  if (failures.size() > max_failures) {
    result +=
        fmt::format("<p class=\"muted\">… and {} more.</p>\n", failures.size() - max_failures);
  }
  return result + "</section>\n";
}

std::string ladder_section() {
  std::string layers;
  for (const layer each : {layer::at, layer::rrc, layer::nas, layer::ip, layer::other}) {
    const std::string_view name = layer_name(each);
    layers += fmt::format(
        "<label><input type=\"checkbox\" name=\"layer\" value=\"{0}\" checked>"
        "<span class=\"dot layer-{1}\"></span>{1}</label>\n",
        name.front(), name);
  }
  return fill(page_files::ladder_html, {{"layers", layers}});
}

std::string begin_text(const analysis& all) {
  constexpr std::uint64_t first_real_time = 946'684'800;  // 2000-01-01
  const auto seconds = static_cast<std::time_t>(all.begin / 1'000'000'000);
  if (static_cast<std::uint64_t>(seconds) < first_real_time) return "on the modem's own clock";
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  return fmt::format("from {:04}-{:02}-{:02} {:02}:{:02}:{:02} UTC", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

}  // namespace

std::string report_page(const analysis& all, const baseline_comparison* comparison) {
  std::string body = fmt::format(
      "<a class=\"skip\" href=\"#signalling\">To the signalling</a>\n"
      "<header><h1>{}</h1>\n<p class=\"muted path\">{} · {} in {}, {}</p></header>\n<main>\n",
      escape_html(file_name(all.file)), escape_html(all.file), counted(all.frames, "frame"),
      duration_text(all.seconds() * 1000), begin_text(all));
  body += verdict_section(all);
  body += baseline_section(comparison);
  body += failures_section(all);
  body += phases_section(all);
  if (!all.messages.empty()) {
    body += page_files::timeline_html;
    body += ladder_section();
  }
  body += procedures_section(all);
  const std::vector<indicator> indicators = find_indicators({&all, 1});
  if (!indicators.empty()) {
    body +=
        "<section class=\"long\" aria-labelledby=\"h-indicators\">\n"
        "<h2 id=\"h-indicators\">Indicators</h2>\n" +
        indicator_table(indicators) + "</section>\n";
  }
  body += commands_section(all);
  body += traffic_section(all);
  body += cells_section(all);
  body += "</main>\n" + page_footer(all.dissection);

  const std::string data = "<script type=\"application/json\" id=\"data\">" + page_data(all) +
                           "</script>\n<script type=\"text/plain\" id=\"bytes\">" +
                           page_bytes(all) + "</script>\n";
  std::string script(page_files::tables_js);
  if (!all.messages.empty()) {
    for (const std::string_view part : {page_files::data_js, page_files::ladder_js,
                                        page_files::timeline_js, page_files::report_js}) {
      script += part;
    }
  }
  return assemble_page(file_name(all.file) + " - " + all.verdict.headline, body, data, script);
}

}  // namespace veltra::report
