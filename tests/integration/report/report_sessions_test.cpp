// The analysis of each example session gives the answers that are written beside the sessions.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "host/report/analysis.h"
#include "host/report/procedure_machine.h"
#include "host/report/tshark_reader.h"
#include "implementation/json.h"
#include "tests/integration/report/example_capture.h"
#include "tests/support/temp_directory.h"

namespace veltra::report {
namespace {

using kovax::json;
using testing::HasSubstr;
using testing::UnorderedElementsAreArray;

// A NAS message is traced twice, less than a millisecond apart.
constexpr double tolerance = 2;  // milliseconds

json read_expected() {
  std::ifstream file(VELTRA_EXAMPLES "/sessions/expected.json");
  return json::parse(file);
}

std::vector<json> sessions() {
  const json all = read_expected();
  return {all.begin(), all.end()};
}

// Without its duration, which is compared with a tolerance.
std::string line_of(const std::string& title, std::uint64_t first, std::uint64_t last,
                    const std::string& outcome, const std::string& cause) {
  return fmt::format("{} {}-{} {} [{}]", title, first, last, outcome, cause);
}

std::string line_of(const json& expected) {
  std::string cause;
  if (const json& given = expected.at("cause"); !given.is_null()) {
    cause = fmt::format("{} {} {} {}", given.at("protocol").get<std::string>(),
                        given.at("number").is_null() ? 0 : given.at("number").get<int>(),
                        given.at("words").get<std::string>(), given.at("spec").get<std::string>());
  }
  return line_of(expected.at("procedure"), expected.at("first_message"),
                 expected.at("last_message"), expected.at("outcome"), cause);
}

std::string line_of(const procedure& found) {
  std::string cause;
  if (found.cause) {
    cause = fmt::format("{} {} {} {}", found.cause->protocol, found.cause->number.value_or(0),
                        found.cause->words, found.cause->clause);
  }
  return line_of(std::string(procedure_title(found.kind)), found.first_frame(), found.last_frame(),
                 found.outcome, cause);
}

void check_procedures(const analysis& all, const json& answers) {
  std::vector<std::string> expected;
  for (const json& each : answers.at("procedures")) expected.push_back(line_of(each));
  std::vector<std::string> found;
  for (const procedure& each : all.procedures) {
    // Not counted on its own in the answers: it is inside the attach.
    if (each.kind == procedure_kind::default_bearer) continue;
    found.push_back(line_of(each));
  }
  EXPECT_THAT(found, UnorderedElementsAreArray(expected));
}

void check_durations(const analysis& all, const json& answers) {
  for (const json& expected : answers.at("procedures")) {
    const std::string line = line_of(expected);
    const auto found = std::find_if(all.procedures.begin(), all.procedures.end(),
                                    [&](const procedure& each) { return line_of(each) == line; });
    ASSERT_NE(found, all.procedures.end()) << line;
    EXPECT_NEAR(found->milliseconds(), expected.at("ms").get<double>(), tolerance) << line;
  }
}

void check_messages(const analysis& all, const json& answers) {
  EXPECT_EQ(all.frames, answers.at("messages").get<std::uint32_t>());
  EXPECT_EQ(all.messages.size(), all.frames);
  for (const message& each : all.messages) EXPECT_NE(each.name, "") << "frame " << each.frame;
}

// tshark shows each message as the session says, and finds no fault with it.
void check_dissection(const analysis& all, const std::string& session) {
  constexpr std::uint64_t error = 0x00800000;
  std::ifstream file(VELTRA_EXAMPLES "/sessions/" + session);
  std::size_t index = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) continue;
    ASSERT_LT(index, all.messages.size());
    const message& each = all.messages[index++];
    const std::string info(each.fields.text(field::info_column));
    const std::string shown = fmt::format("{}: {}", each.fields.text(field::protocol_column),
                                          info.substr(0, info.find_last_not_of(' ') + 1));
    EXPECT_EQ(shown, line.substr(line.rfind('\t') + 1)) << "frame " << each.frame;
    for (const std::uint64_t severity : each.fields.numbers(field::expert_severity)) {
      EXPECT_TRUE(each.layer == layer::at || severity < error) << "frame " << each.frame;
    }
  }
  EXPECT_EQ(index, all.messages.size());
}

void check_outcome(const analysis& all, const json& answers) {
  const std::string outcome = answers.at("outcome");
  std::string state(registration_id(all.verdict.state));
  std::replace(state.begin(), state.end(), '_', ' ');
  EXPECT_TRUE(outcome.starts_with(state)) << outcome << " / " << all.verdict.headline;
}

void check_failures(const analysis& all, const json& answers) {
  std::set<std::string> expected;
  for (const json& each : answers.at("procedures")) {
    if (!each.at("cause").is_null()) expected.insert(each.at("cause").at("words"));
  }
  std::string found;
  for (const failure& each : all.verdict.failures) {
    found += each.text() + "\n";
    if (each.cause) {
      EXPECT_NE(each.advice, "") << each.text();
    }
  }
  for (const std::string& words : expected) EXPECT_THAT(found, HasSubstr(words));
  if (expected.empty()) {
    EXPECT_EQ(found, "");
  }
}

std::set<std::string> ended_procedures(std::vector<message> messages) {
  std::set<std::string> result;
  for (const procedure& each : find_procedures(messages)) {
    if (each.result == procedure_result::succeeded || each.result == procedure_result::failed) {
      result.insert(
          fmt::format("{} {}-{}", procedure_id(each.kind), each.first_frame(), each.last_frame()));
    }
  }
  return result;
}

// A trace that begins or ends anywhere shows some of the procedures, and none that is not there.
// What is decided counts even if the message that confirms it is missing.
void check_parts(const analysis& all) {
  using testing::IsSubsetOf;
  std::set<std::string> whole = ended_procedures(all.messages);
  for (const procedure& each : all.procedures) {
    const bool has_confirmation =
        each.kind == procedure_kind::attach || each.kind == procedure_kind::authentication ||
        each.kind == procedure_kind::sms_sent || each.kind == procedure_kind::sms_received;
    if (!has_confirmation || each.frames.size() < 2) continue;
    whole.insert(fmt::format("{} {}-{}", procedure_id(each.kind), each.first_frame(),
                             each.frames[each.frames.size() - 2]));
  }
  for (std::size_t at = 0; at < all.messages.size(); ++at) {
    const auto cut = all.messages.begin() + static_cast<std::ptrdiff_t>(at);
    EXPECT_THAT(ended_procedures({cut, all.messages.end()}), IsSubsetOf(whole)) << "from " << at;
    EXPECT_THAT(ended_procedures({all.messages.begin(), cut}), IsSubsetOf(whole)) << "to " << at;
  }
}

class report_session : public testing::TestWithParam<json> {};

TEST_P(report_session, is_analysed_as_expected) {
  const std::filesystem::path tshark = find_tshark("");
  if (tshark.empty()) GTEST_SKIP() << "tshark is not installed";
  std::string session = GetParam().at("session");
  session.erase(session.rfind(".tsv"));
  const test_support::temp_directory directory;
  const analysis all =
      analyse(test_support::make_capture(directory.path(), "sessions/" + session), tshark);
  ASSERT_EQ(all.dissection.lack, "");
  EXPECT_EQ(all.dissection.failure, "");
  EXPECT_TRUE(all.dissection.unknown_fields.empty());
  check_procedures(all, GetParam());
  check_durations(all, GetParam());
  check_messages(all, GetParam());
  check_dissection(all, session + ".tsv");
  check_outcome(all, GetParam());
  check_failures(all, GetParam());
  check_parts(all);
}

INSTANTIATE_TEST_SUITE_P(example, report_session, testing::ValuesIn(sessions()),
                         [](const auto& instance) {
                           std::string name = instance.param.at("session");
                           return name.substr(0, name.find('.'));
                         });

}  // namespace
}  // namespace veltra::report
