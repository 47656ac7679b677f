// environment_variable.h - a variable of this process's environment, for the
// duration of a test.
#pragma once

#include <optional>
#include <string>

namespace test_support {

// Sets a variable, or removes it when there is no value, and restores what was
// there before when it goes.
class environment_variable {
 public:
  environment_variable(std::string name, std::optional<std::string> value);
  environment_variable(const environment_variable&) = delete;
  environment_variable& operator=(const environment_variable&) = delete;
  ~environment_variable();

 private:
  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace test_support
