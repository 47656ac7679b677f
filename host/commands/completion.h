// completion.h - what a shell offers while a command line is typed.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace veltra::host {

struct candidate {
  std::string word;
  std::string description;
};

// What may replace the last of `words`, which are those behind the program's name; the last
// is the one that is being typed and may be empty. None where a file's name belongs, which
// the shell completes itself. Looks for serial ports where one belongs.
std::vector<candidate> complete(const CLI::App& root, const std::vector<std::string>& words);

// One line for each: the word, a tab, the description.
std::string format_candidates(const std::vector<candidate>& candidates);

}  // namespace veltra::host
