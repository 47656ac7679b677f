// captured_stdout.h - what a test's subject writes to standard output, byte for byte.
#pragma once

#include <cstdio>
#include <string>

namespace test_support {

// Takes everything that is written to stdout while it lives, or until end().
class captured_stdout {
 public:
  captured_stdout();
  captured_stdout(const captured_stdout&) = delete;
  captured_stdout& operator=(const captured_stdout&) = delete;
  ~captured_stdout();

  // Gives stdout back and returns what was written.
  std::string end();

 private:
  void restore();

  std::FILE* file_;  // null after end()
  int before_;       // where stdout leads otherwise
};

}  // namespace test_support
