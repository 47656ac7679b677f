#include "tests/support/keyboard.h"

#include <system_error>

#include "platform/windows/system.h"

namespace test_support {

namespace {

void check(BOOL result, const char* what) {
  if (result == FALSE) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
  }
}

// Ctrl-C reaches every process of a console: this one gets one of its own. With it
// begins a new list of handlers.
bool move_to_own_console() {
  FreeConsole();
  check(AllocConsole(), "AllocConsole");
  // Answered only when the console is there; what comes before is lost.
  check(SetConsoleTitleW(L"veltra tests"), "SetConsoleTitle");
  wchar_t title[32];
  check(GetConsoleTitleW(title, 32) != 0, "GetConsoleTitle");
  return true;
}

}  // namespace

keyboard::keyboard() {
  [[maybe_unused]] static const bool moved = move_to_own_console();
}

void keyboard::press_ctrl_c() const {
  check(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0), "GenerateConsoleCtrlEvent");
}

}  // namespace test_support
