#include "tests/support/environment_variable.h"

#include <utility>

#include "platform/environment.h"

namespace test_support {

environment_variable::environment_variable(std::string name, std::optional<std::string> value)
    : name_(std::move(name)), before_(platform::find_environment_variable(name_)) {
  change_environment(name_, value);
}

environment_variable::~environment_variable() {
  change_environment(name_, before_);
}

}  // namespace test_support
