#include "tests/support/environment_variable.h"

#include <cstdlib>
#include <utility>

namespace test_support {

namespace {

void change(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

}  // namespace

environment_variable::environment_variable(std::string name, std::optional<std::string> value)
    : name_(std::move(name)) {
  if (const char* found = std::getenv(name_.c_str())) before_ = found;
  change(name_, value);
}

environment_variable::~environment_variable() {
  change(name_, before_);
}

}  // namespace test_support
