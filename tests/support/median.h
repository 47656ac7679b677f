// median.h - a time that is promised, seen through the noise of a busy machine.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace test_support {

// The middle one of `times`, of which there must be one: a try that the machine held up
// does not count, a delay that every other try has does. Any thread.
inline std::chrono::steady_clock::duration median(
    std::vector<std::chrono::steady_clock::duration> times) {
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

}  // namespace test_support
