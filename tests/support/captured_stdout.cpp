#include "tests/support/captured_stdout.h"

#include <stdexcept>

#include "tests/support/this_process.h"

namespace test_support {

captured_stdout::captured_stdout() : file_(std::tmpfile()) {
  if (file_ == nullptr) throw std::runtime_error("there is no room for captured output");
  std::fflush(stdout);
  before_ = redirect_stream(stdout, file_);
}

captured_stdout::~captured_stdout() {
  if (file_ == nullptr) return;
  restore();
  std::fclose(file_);
}

std::string captured_stdout::end() {
  restore();
  std::string bytes;
  std::rewind(file_);
  for (int byte = std::fgetc(file_); byte != EOF; byte = std::fgetc(file_)) {
    bytes += static_cast<char>(byte);
  }
  std::fclose(file_);
  file_ = nullptr;
  return bytes;
}

void captured_stdout::restore() {
  std::fflush(stdout);
  restore_stream(stdout, before_);
}

}  // namespace test_support
