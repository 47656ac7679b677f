#include "tests/support/environment_variable.h"

#include <cstdlib>
#include <ctime>

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace test_support {

void change_environment(const std::string& name, const std::optional<std::string>& value) {
  const std::wstring wide_name = platform::to_wide(name);
  // For the C library an empty value is none; the system keeps it.
  _wputenv_s(wide_name.c_str(), platform::to_wide(value.value_or("")).c_str());
  if (value && value->empty()) SetEnvironmentVariableW(wide_name.c_str(), L"");
  // Read only on request, unlike elsewhere.
  if (name == "TZ") _tzset();
}

}  // namespace test_support
