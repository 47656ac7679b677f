#include "host/database/database_lint.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "host/console.h"
#include "host/database/archive_lint.h"
#include "host/database/database_file.h"
#include "host/database/text_lint.h"
#include "implementation/json.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// The findings of a file whose texts are added in their order.
class file_lint {
 public:
  void add_text(const std::string& member, std::string_view text) {
    linted_text linted = lint_database_text(text);
    for (finding& each : linted.findings) {
      each.member = member;
      findings.push_back(std::move(each));
    }
    is_configured_ = is_configured_ ||
                     (linted.has_decoder_config && (linted.name == "MCU" || linted.name == "M4"));
    if (!uuid.empty() && !linted.uuid.empty() && uuid != linted.uuid) {
      findings.push_back({severity::warning, member, "/meta/uuid",
                          fmt::format("is not {} as before; the last one counts", uuid)});
    }
    if (!linted.uuid.empty()) uuid = linted.uuid;
    for (const std::uint32_t id : linted.master_ids) check_master(member, id);
  }

  void check_configuration() {
    if (is_configured_ || has_any(findings, severity::fatal)) return;
    findings.push_back({severity::fault,
                        {},
                        {},
                        "no database that is named MCU or M4 has a decoder configuration"});
  }

  std::vector<finding> findings;
  std::string uuid;

 private:
  void check_master(const std::string& member, std::uint32_t id) {
    const auto [before, is_new] = masters_.try_emplace(id, member);
    if (is_new) return;
    findings.push_back({severity::warning, member, "/meta",
                        fmt::format("accepts the master id {} as {} does; the first one counts", id,
                                    before->second)});
  }

  bool is_configured_ = false;
  std::map<std::uint32_t, std::string> masters_;
};

void lint_archive(std::string_view bytes, file_lint& lint) {
  const archive_contents contents = inspect_archive(bytes);
  lint.findings = contents.findings;
  file_lint unread;
  for (const archive_member& member : contents.members) {
    (member.is_read ? lint : unread).add_text(member.name, member.text);
  }
  std::move(unread.findings.begin(), unread.findings.end(), std::back_inserter(lint.findings));
}

const char* name_of(severity severity) {
  return severity == severity::warning ? "warning" : "fault";
}

std::string counted(std::size_t count, const char* what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace

lint_result lint_database_file(const std::filesystem::path& path) {
  const std::string extension = platform::path_to_utf8(path.extension());
  if (extension != ".gz" && extension != ".json") {
    throw user_error(exit_code::bad_input,
                     fmt::format("{}: Database file extension needs to be .gz or .json; give a "
                                 "trace database, .json or .tar.gz.",
                                 platform::path_to_utf8(path)));
  }
  const std::string bytes = read_database_bytes(path);
  file_lint lint;
  if (extension == ".gz") {
    lint_archive(bytes, lint);
  } else {
    lint.add_text({}, bytes);
  }
  lint.check_configuration();
  return {std::move(lint.findings), std::move(lint.uuid)};
}

std::string describe_finding(const finding& finding) {
  std::string text;
  for (const std::string& part : {finding.member, finding.path}) {
    if (!part.empty()) text += sanitize(part) + ": ";
  }
  return text + sanitize(finding.text);
}

std::string format_findings(const std::string& file, const std::vector<finding>& findings) {
  const std::string name = sanitize(file);
  std::string text;
  for (const finding& each : findings) {
    fmt::format_to(std::back_inserter(text), "{}: {}: {}\n", name, name_of(each.severity),
                   describe_finding(each));
  }
  return text + fmt::format("{}: {}\n", name, count_findings(findings));
}

std::string format_findings_json(const std::string& file, const std::vector<finding>& findings) {
  kovax::json list = kovax::json::array();
  for (const finding& each : findings) {
    list.push_back({{"severity", name_of(each.severity)},
                    {"member", each.member},
                    {"path", each.path},
                    {"text", each.text}});
  }
  const std::size_t faults = count_faults(findings);
  const kovax::json report = {{"file", file},
                              {"faults", faults},
                              {"warnings", findings.size() - faults},
                              {"findings", std::move(list)}};
  return report.dump(2, ' ', false, kovax::json::error_handler_t::replace) + "\n";
}

std::size_t count_faults(const std::vector<finding>& findings) {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [](const finding& each) { return each.severity != severity::warning; }));
}

std::string count_findings(const std::vector<finding>& findings) {
  const std::size_t faults = count_faults(findings);
  return counted(faults, "fault") + " and " + counted(findings.size() - faults, "warning");
}

}  // namespace veltra::host
