#include "host/commands/completion.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/host/commands/command_tree.h"

namespace veltra::host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAreArray;
using completion_test = command_tree_test;

// The names that a line of help explains: "-o" and "--output" of "  -o, --output FILE  Where to".
std::vector<std::string> option_names(const std::string& line) {
  const std::size_t begin = line.find_first_not_of(' ');
  if ((begin != 2 && begin != 6) || line[begin] != '-') return {};
  std::istringstream words(line.substr(begin, line.find("  ", begin) - begin));
  std::vector<std::string> names;
  for (std::string word; words >> word;) {
    names.push_back(word.substr(0, word.find_first_not_of("-abcdefghijklmnopqrstuvwxyz")));
    if (word.back() != ',') break;
  }
  return names;
}

TEST_F(completion_test, every_command_offers_the_options_of_its_help) {
  for (const std::vector<std::string>& command : all_commands()) {
    std::vector<std::string> words = command;
    words.emplace_back("-");
    std::vector<std::string> in_help;
    std::istringstream lines(help_of(command));
    for (std::string line; std::getline(lines, line);) {
      for (std::string& name : option_names(line)) in_help.push_back(std::move(name));
    }
    EXPECT_THAT(in_help, Contains("--help"));
    EXPECT_THAT(completions_of(words), UnorderedElementsAreArray(in_help))
        << testing::PrintToString(command);
  }
}

TEST_F(completion_test, commands_and_options_are_those_that_begin_so) {
  EXPECT_THAT(completions_of({"dec"}), ElementsAre("decode"));
  EXPECT_THAT(completions_of({"db", "l"}), ElementsAre("list", "lint"));
  EXPECT_THAT(completions_of({"decode", "--data"}), ElementsAre("--database"));
  EXPECT_THAT(completions_of({"help", "db", "sy"}), ElementsAre("sync"));
  EXPECT_THAT(completions_of({"help", "help", ""}), Not(IsEmpty()));
}

TEST_F(completion_test, values_are_offered_where_there_are_a_few) {
  EXPECT_THAT(completions_of({"decode", "t", "--format", ""}), ElementsAre("pcapng", "jsonl"));
  EXPECT_THAT(completions_of({"capture", "--parity", "o"}), ElementsAre("odd"));
}

TEST_F(completion_test, the_shell_completes_names_of_files) {
  EXPECT_THAT(completions_of({"decode", ""}), IsEmpty());
  EXPECT_THAT(completions_of({"decode", "-d", ""}), IsEmpty());
  EXPECT_THAT(completions_of({"nothing", "of", "it"}), IsEmpty());
}

TEST_F(completion_test, a_value_is_not_taken_for_a_command_or_an_option) {
  EXPECT_THAT(completions_of({"db", "add", "--device", "list", "--str"}), IsEmpty());
  EXPECT_THAT(completions_of({"db", "lint", "--str"}), ElementsAre("--strict"));
}

}  // namespace
}  // namespace veltra::host
