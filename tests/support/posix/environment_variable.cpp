#include "tests/support/environment_variable.h"

#include <cstdlib>

namespace test_support {

void change_environment(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

}  // namespace test_support
