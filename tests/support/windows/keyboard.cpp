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

// A program with a console that shows no window, while the object lives.
class hidden_console {
 public:
  hidden_console() {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    wchar_t waiting_for_a_key[] = L"cmd.exe /d /c pause";
    check(CreateProcessW(nullptr, waiting_for_a_key, nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                         nullptr, nullptr, &startup, &program_),
          "CreateProcess");
  }
  hidden_console(const hidden_console&) = delete;
  hidden_console& operator=(const hidden_console&) = delete;
  ~hidden_console() {
    TerminateProcess(program_.hProcess, 0);
    CloseHandle(program_.hThread);
    CloseHandle(program_.hProcess);
  }

  // False as long as the console is still being made, which no event reports.
  bool attach() const { return AttachConsole(program_.dwProcessId) != FALSE; }

 private:
  PROCESS_INFORMATION program_ = {};
};

// Ctrl-C reaches every process of a console: this one gets one of its own. With it
// begins a new list of handlers.
bool move_to_own_console() {
  FreeConsole();
  const hidden_console console;
  constexpr int patience = 10'000;  // milliseconds
  for (int waited = 0; !console.attach(); ++waited) {
    check(waited < patience, "AttachConsole");
    Sleep(1);
  }
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
