// command_tree.h - the commands of the program as its user sees them.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/captured_stdout.h"
#include "tests/unit/host/run/run_fixture.h"

namespace veltra::host {

class command_tree_test : public run_test {
 protected:
  // What a command line prints.
  std::string output_of(const std::vector<std::string>& words) {
    test_support::captured_stdout output;
    EXPECT_EQ(veltra(words), exit_code::ok) << testing::PrintToString(words);
    return output.end();
  }

  std::string help_of(std::vector<std::string> command) {
    command.insert(command.begin(), "help");
    return output_of(command);
  }

  // What the shells are offered for `words`, without the descriptions.
  std::vector<std::string> completions_of(std::vector<std::string> words) {
    words.insert(words.begin(), "__complete");
    std::vector<std::string> candidates;
    std::istringstream lines(output_of(words));
    for (std::string line; std::getline(lines, line);) {
      candidates.push_back(line.substr(0, line.find('\t')));
    }
    return candidates;
  }

  // Every command with its words; the program itself has none.
  std::vector<std::vector<std::string>> all_commands() {
    std::vector<std::vector<std::string>> commands = {{}};
    for (std::size_t i = 0; i < commands.size(); ++i) {
      // A copy: the list grows.
      const std::vector<std::string> parent = commands[i];
      if (parent == std::vector<std::string>{"help"}) continue;
      if (!parent.empty() && help_of(parent).find("\nCommands:\n") == std::string::npos) continue;
      std::vector<std::string> words = parent;
      words.emplace_back();
      for (const std::string& name : completions_of(words)) {
        commands.push_back(parent);
        commands.back().push_back(name);
      }
    }
    return commands;
  }
};

}  // namespace veltra::host
