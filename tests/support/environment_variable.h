// environment_variable.h - a variable of this process's environment, for the
// duration of a test.
#pragma once

#include <optional>
#include <string>

namespace test_support {

// Sets a variable, or removes it when there is no value, for the C library and
// for the system. Names and values are UTF-8.
void change_environment(const std::string& name, const std::optional<std::string>& value);

// Does so, and restores what was there before when it goes.
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
