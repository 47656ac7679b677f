#include "platform/arguments.h"

#include <memory>

#include "platform/windows/text.h"

// The first declares what those after it need.
// clang-format off
#include "platform/windows/system.h"
#include <shellapi.h>
// clang-format on

namespace platform {

std::vector<std::string> utf8_arguments(int argc, const char* const* argv) {
  int count = 0;
  struct releaser {
    void operator()(wchar_t** words) const noexcept { LocalFree(words); }
  };
  const std::unique_ptr<wchar_t*, releaser> words(CommandLineToArgvW(GetCommandLineW(), &count));
  if (words == nullptr) return {argv, argv + argc};
  std::vector<std::string> arguments;
  for (int i = 0; i < count; ++i) arguments.push_back(to_utf8(words.get()[i]));
  return arguments;
}

}  // namespace platform
