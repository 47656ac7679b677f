#include "host/report/page_parts.h"

#include <fmt/format.h>

#include <utility>
#include <vector>

#include "host/report/html_text.h"
#include "page_files.h"
#include "platform/sha256.h"

namespace veltra::report {

namespace {

std::string cause_list(const indicator& each) {
  std::string result;
  for (const auto& [words, count] : each.causes) {
    if (!result.empty()) result += "<br>";
    result += fmt::format("{} × {}", count, escape_html(words));
  }
  return result;
}

std::string duration_cell(const std::optional<double>& milliseconds) {
  if (!milliseconds) return R"(<td class="number" data-value="-1">–</td>)";
  return fmt::format(R"(<td class="number" data-value="{}">{}</td>)", *milliseconds,
                     duration_text(*milliseconds));
}

std::string change_rows(const std::vector<change>& changes, const char* css_class,
                        const char* sign) {
  std::string result;
  for (const change& each : changes) {
    result += fmt::format(
        "<tr><td><span class=\"result {}\">{}</span></td><td>{}</td><td>{}</td><td>{}</td>"
        "<td>{}</td></tr>\n",
        css_class, sign, escape_html(each.subject), each.measure, escape_html(each.before),
        escape_html(each.now));
  }
  return result;
}

}  // namespace

std::string fill(std::string_view pattern,
                 const std::vector<std::pair<std::string_view, std::string_view>>& values) {
  std::string result;
  while (!pattern.empty()) {
    const std::size_t begin = pattern.find("{{");
    const std::size_t end = pattern.find("}}", begin == std::string_view::npos ? 0 : begin);
    if (begin == std::string_view::npos || end == std::string_view::npos) break;
    result += pattern.substr(0, begin);
    const std::string_view name = pattern.substr(begin + 2, end - begin - 2);
    for (const auto& [key, value] : values) {
      if (key == name) result += value;
    }
    pattern.remove_prefix(end + 2);
  }
  result += pattern;
  return result;
}

std::string assemble_page(std::string_view title, std::string_view body, std::string_view data,
                          std::string_view script) {
  const platform::sha256_digest digest = platform::sha256(script);
  const std::string script_digest =
      base64({reinterpret_cast<const char*>(digest.data()), digest.size()});
  const std::string escaped_title = escape_html(title);
  return fill(page_files::page_html, {{"title", escaped_title},
                                      {"generator", "veltra " VELTRA_VERSION},
                                      {"style", page_files::style_css},
                                      {"body", body},
                                      {"data", data},
                                      {"script", script},
                                      {"script-digest", script_digest}});
}

std::string state_sign(registration state) {
  switch (state) {
    case registration::registered:
    case registration::in_service:
      return "✓";
    case registration::not_registered:
      return "✕";
    case registration::detached:
    case registration::unknown:
      break;
  }
  return "–";
}

std::string indicator_table(std::span<const indicator> indicators) {
  if (indicators.empty()) return {};
  std::string result =
      "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"Indicators\">\n"
      "<table class=\"sortable\"><thead><tr><th>What</th><th class=\"number\">Count</th>"
      "<th class=\"number\">Succeeded</th><th class=\"number\">Median</th>"
      "<th class=\"number\">95th percentile</th><th>Causes of the "
      "others</th></tr></thead><tbody>\n";
  for (const indicator& each : indicators) {
    result += fmt::format(
        "<tr><td>{}</td><td class=\"number\" data-value=\"{}\">{}</td>"
        "<td class=\"number\" data-value=\"{}\">{:.0f} %</td>{}{}<td>{}</td></tr>\n",
        escape_html(each.title), each.count, each.count, each.success_rate(),
        each.success_rate() * 100, duration_cell(each.median_ms), duration_cell(each.p95_ms),
        cause_list(each));
  }
  return result + "</tbody></table></div>\n";
}

std::string baseline_section(const baseline_comparison* comparison) {
  if (comparison == nullptr) return {};
  std::string result = "<section aria-labelledby=\"h-baseline\">\n<h2 id=\"h-baseline\">";
  result += comparison->worse.empty() ? "Nothing became worse than in the baseline"
                                      : fmt::format("{} worse than in the baseline",
                                                    counted(comparison->worse.size(), "measure"));
  result += "</h2>\n";
  if (comparison->worse.empty() && comparison->better.empty()) return result + "</section>\n";
  result +=
      "<table><thead><tr><th></th><th>What</th><th>Measure</th><th>Before</th><th>Now</th></tr>"
      "</thead><tbody>\n";
  result += change_rows(comparison->worse, "failed", "worse");
  result += change_rows(comparison->better, "succeeded", "better");
  result += "</tbody></table>\n";
  return result + "</section>\n";
}

std::string file_name(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string counted(std::uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string bytes_text(std::uint64_t bytes) {
  if (bytes < 1000) return fmt::format("{} B", bytes);
  if (bytes < 1'000'000) return fmt::format("{:.1f} kB", static_cast<double>(bytes) / 1e3);
  if (bytes < 1'000'000'000) return fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6);
  return fmt::format("{:.1f} GB", static_cast<double>(bytes) / 1e9);
}

std::string page_footer(const dissection& by) {
  std::string result = "<footer><p>Made by veltra " VELTRA_VERSION;
  if (!by.version.empty()) {
    result += fmt::format("; names and fields are those of tshark {}", escape_html(by.version));
  }
  result += ".</p>";
  if (!by.unknown_fields.empty()) {
    result += fmt::format("<p>This tshark does not know {}; what they show is missing.</p>",
                          escape_html(fmt::format("{}", fmt::join(by.unknown_fields, ", "))));
  }
  return result + "</footer>\n";
}

}  // namespace veltra::report
