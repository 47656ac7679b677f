// contract.h - the one assertion that stays on in every build type.
//
// A broken contract is a defect of this program or of a trace database that
// cannot be worked with at all; it is not an error to report. The text of the
// contract goes to stderr and the process stops with abort().
#pragma once

#include <cstdio>
#include <cstdlib>

namespace kovax {

// Prints "FILE:LINE: Assertion `TEXT' failed." to stderr and aborts. Any thread.
[[noreturn]] inline void contract_broken(const char* text, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: Assertion `%s' failed.\n", file, line, text);
  std::fflush(stderr);
  std::abort();
}

}  // namespace kovax

// Stops the process with `text` unless `condition` holds.
#define KOVAX_CONTRACT_TEXT(condition, text) \
  ((condition) ? static_cast<void>(0) : ::kovax::contract_broken(text, __FILE__, __LINE__))

// Stops the process with the condition's own text unless it holds.
#define KOVAX_CONTRACT(...) KOVAX_CONTRACT_TEXT((__VA_ARGS__), #__VA_ARGS__)
