// The page of several captures: a row each, as after a night's batch.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "host/report/html_text.h"
#include "host/report/page_parts.h"
#include "host/report/report_page.h"
#include "page_files.h"

namespace veltra::report {

namespace {

// Failures as one line, the same ones together.
std::string failure_list(const analysis& all) {
  std::map<std::string, std::size_t> counts;
  for (const failure& each : all.verdict.failures) ++counts[each.text()];
  if (counts.empty()) return {};
  std::string result = "<ul class=\"plain\">";
  for (const auto& [text, count] : counts) {
    result += "<li>";
    if (count > 1) result += fmt::format("{} × ", count);
    result += escape_html(text) + "</li>";
  }
  return result + "</ul>";
}

std::string number_cell(std::uint64_t value) {
  return fmt::format("<td class=\"number\" data-value=\"{}\">{}</td>", value, value);
}

std::string attach_cell(const analysis& all, double slowest) {
  if (!all.verdict.attach_ms) return "<td class=\"number\" data-value=\"-1\">–</td>";
  return fmt::format(
      "<td class=\"number\" data-value=\"{}\">{}<br><span class=\"bar\" style=\"width:{:.1f}%\">"
      "</span></td>",
      *all.verdict.attach_ms, duration_text(*all.verdict.attach_ms),
      slowest > 0 ? 100 * *all.verdict.attach_ms / slowest : 0);
}

std::string capture_row(const analysis& all, double slowest) {
  const std::uint64_t at_errors = static_cast<std::uint64_t>(
      std::count_if(all.at_commands.begin(), all.at_commands.end(),
                    [](const at_command& each) { return each.is_error; }));
  const char* const css_class = all.verdict.is_served()                             ? "succeeded"
                                : all.verdict.state == registration::not_registered ? "failed"
                                                                                    : "";
  return fmt::format(
      "<tr><td title=\"{}\">{}</td><td class=\"wide\"><span class=\"result {}\">{} "
      "{}</span></td>{}<td class=\"wide\">{}</td>{}{}{}"
      "<td class=\"number\" data-value=\"{}\">{}</td></tr>\n",
      escape_html(all.file), escape_html(file_name(all.file)), css_class,
      state_sign(all.verdict.state), escape_html(all.verdict.headline), attach_cell(all, slowest),
      failure_list(all), number_cell(at_errors), number_cell(all.traces_lost()),
      number_cell(all.ip.retransmissions.size()), all.seconds(),
      duration_text(all.seconds() * 1000));
}

}  // namespace

std::string comparison_page(std::span<const analysis> captures,
                            const baseline_comparison* comparison) {
  const std::size_t served = static_cast<std::size_t>(
      std::count_if(captures.begin(), captures.end(),
                    [](const analysis& each) { return each.verdict.is_served(); }));
  double slowest = 0;
  for (const analysis& each : captures) {
    slowest = std::max(slowest, each.verdict.attach_ms.value_or(0));
  }
  const registration state =
      served == captures.size() ? registration::registered : registration::not_registered;
  const std::string headline =
      fmt::format("{} of {} captures end registered or in service", served, captures.size());

  std::string body = fmt::format(
      "<header><h1>{}</h1></header>\n<main>\n"
      "<section class=\"verdict state-{}\"><h2><span class=\"sign\" aria-hidden=\"true\">{}</span>"
      "{}</h2></section>\n",
      counted(captures.size(), "capture"), registration_id(state), state_sign(state), headline);
  body += baseline_section(comparison);
  body +=
      "<section class=\"long\" aria-labelledby=\"h-captures\">\n<h2 "
      "id=\"h-captures\">Captures</h2>\n"
      "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"Captures\">"
      "<table class=\"sortable comparison\"><thead><tr><th>Capture</th><th>What happened</th>"
      "<th class=\"number\">Attach</th><th>Rejects and failures</th>"
      "<th class=\"number\">AT errors</th><th class=\"number\">Lost traces</th>"
      "<th class=\"number\">TCP retrans&shy;missions</th><th "
      "class=\"number\">Length</th></tr></thead>"
      "<tbody>\n";
  for (const analysis& each : captures) body += capture_row(each, slowest);
  body += "</tbody></table></div>\n</section>\n";
  body +=
      "<section class=\"long\" aria-labelledby=\"h-indicators\">\n"
      "<h2 id=\"h-indicators\">Indicators of all captures together</h2>\n" +
      indicator_table(find_indicators(captures)) + "</section>\n";
  body += "</main>\n";
  if (!captures.empty()) body += page_footer(captures.front().dissection);
  return assemble_page(headline, body, "", page_files::tables_js);
}

}  // namespace veltra::report
