#include "host/commands/suggestion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace veltra::host {

namespace {

// The edit distance in which a swap of neighbours counts once (optimal string alignment).
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) steps[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) steps[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, replaced});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
      }
    }
  }
  return steps[a.size()][b.size()];
}

}  // namespace

std::string closest_name(std::string_view word, const std::vector<std::string>& names) {
  constexpr std::size_t max_length = 64;  // longer is not a misspelt name
  if (word.empty() || word.size() > max_length) return {};
  std::string closest;
  std::size_t max_distance = std::max<std::size_t>(1, word.size() / 3);
  for (const std::string& name : names) {
    const std::size_t edits = distance(word, name);
    if (edits > max_distance || (edits == max_distance && !closest.empty())) continue;
    closest = name;
    max_distance = edits;
  }
  if (!closest.empty()) return closest;
  constexpr std::size_t min_beginning = 3;
  const auto begins = [word](const std::string& name) { return name.starts_with(word); };
  const auto found = std::find_if(names.begin(), names.end(), begins);
  return word.size() >= min_beginning && found != names.end() ? *found : std::string();
}

std::string suggest(std::string_view word, const std::vector<std::string>& names,
                    std::string_view where) {
  const std::string closest = closest_name(word, names);
  return closest.empty() ? fmt::format("; see {}.", where)
                         : fmt::format("; did you mean {}? See {}.", closest, where);
}

}  // namespace veltra::host
