// suggestion.h - what a person most likely meant by a name that does not exist.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// The one of `names` that is nearest to `word`: letters left out, added, replaced or swapped
// with their neighbour, one for each three letters of the word, or the rest of the name left
// out. Empty if none is that near.
std::string closest_name(std::string_view word, const std::vector<std::string>& names);

// The end of the sentence that refuses `word`: "; did you mean NAME? See WHERE." or, without
// a closest name, "; see WHERE."
std::string suggest(std::string_view word, const std::vector<std::string>& names,
                    std::string_view where);

}  // namespace veltra::host
