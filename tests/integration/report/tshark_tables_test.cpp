// The report's tables against what the installed tshark says about itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "host/report/cause.h"
#include "host/report/tshark_fields.h"
#include "host/report/tshark_reader.h"
#include "platform/process.h"

namespace veltra::report {
namespace {

// What tshark prints for a topic of its glossary.
std::string glossary(const char* topic) {
  platform::process running(find_tshark(""), {"-G", topic});
  std::string output;
  char piece[65536];
  while (const std::size_t count = running.read(piece)) output.append(piece, count);
  running.wait();
  return output;
}

class tshark_tables : public testing::Test {
 protected:
  void SetUp() override {
    if (find_tshark("").empty()) GTEST_SKIP() << "tshark is not installed";
  }
};

TEST_F(tshark_tables, every_field_is_known) {
  std::set<std::string> known;
  std::istringstream lines(glossary("fields"));
  for (std::string line; std::getline(lines, line);) {
    // "F", the title, the name, …
    if (!line.starts_with("F\t")) continue;
    const std::size_t name = line.find('\t', 2) + 1;
    known.insert(line.substr(name, line.find('\t', name) - name));
  }
  ASSERT_GT(known.size(), 100'000U);
  for (const tshark_field& each : tshark_fields()) {
    // Columns are not in the glossary; the sessions show that they are there.
    if (std::string(each.name).starts_with("_ws.col.")) continue;
    EXPECT_TRUE(known.contains(each.name)) << each.name;
  }
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// The words of a field's values. tshark's capitals are not those of the standard.
std::map<int, std::string> values_of(const std::string& all, const std::string& field) {
  std::map<int, std::string> result;
  const std::string head = "V\t" + field + "\t";
  std::istringstream lines(all);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(head)) continue;
    const std::size_t words = line.find('\t', head.size());
    result[std::stoi(line.substr(head.size()), nullptr, 0)] = lower(line.substr(words + 1));
  }
  return result;
}

void check(const std::map<int, std::string>& theirs, cause (*ours)(int)) {
  EXPECT_GT(theirs.size(), 20U);
  for (const auto& [number, words] : theirs) {
    // Numbers that the standard keeps for what no longer exists.
    if (words == "unused" || words == "reserved") continue;
    EXPECT_EQ(lower(ours(number).words), words) << number;
  }
}

TEST_F(tshark_tables, causes_have_their_words) {
  const std::string all = glossary("values");
  check(values_of(all, "nas_eps.emm.cause"), emm_cause);
  check(values_of(all, "nas_eps.esm.cause"), esm_cause);
  check(values_of(all, "gsm_a.rp.cause"), rp_cause);
}

}  // namespace
}  // namespace veltra::report
