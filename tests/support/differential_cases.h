// differential_cases.h - how many random cases a differential test tries.
#pragma once

#include <cstdlib>

namespace test_support {

// A fast path is compared with a plain one for so many cases. They follow from fixed seeds,
// so that a case that failed fails again. VELTRA_DIFFERENTIAL_CASES sets another number.
inline unsigned long differential_cases(unsigned long usual = 200000) {
  const char* const wanted = std::getenv("VELTRA_DIFFERENTIAL_CASES");
  return wanted == nullptr ? usual : std::strtoul(wanted, nullptr, 10);
}

}  // namespace test_support
