#include "platform/console.h"

#include <optional>

#include "platform/windows/system.h"

namespace platform {

namespace {

struct output {
  DWORD which;
  std::optional<DWORD> mode;  // as it was; nothing for what is not a console
};

// As it was before, for the handler too, which has no argument of its own. Written
// before the handler is there and afterwards only read.
UINT code_page = 0;
output outputs[] = {{STD_OUTPUT_HANDLE, {}}, {STD_ERROR_HANDLE, {}}};

void restore() {
  for (const output& each : outputs) {
    if (each.mode) SetConsoleMode(GetStdHandle(each.which), *each.mode);
  }
  if (code_page != 0) SetConsoleOutputCP(code_page);
}

// The console outlives the process. Of all handlers the first that was set is asked
// last: what comes here ends the process.
BOOL WINAPI restore_before_the_end(DWORD /*event*/) {
  restore();
  return FALSE;
}

}  // namespace

console_setup::console_setup() {
  code_page = GetConsoleOutputCP();
  for (output& each : outputs) {
    DWORD mode = 0;
    const HANDLE handle = GetStdHandle(each.which);
    each.mode.reset();
    if (GetConsoleMode(handle, &mode) == FALSE) continue;
    each.mode = mode;
    SetConsoleMode(handle, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
  if (code_page != 0) SetConsoleOutputCP(CP_UTF8);
  SetConsoleCtrlHandler(restore_before_the_end, TRUE);
}

console_setup::~console_setup() {
  SetConsoleCtrlHandler(restore_before_the_end, FALSE);
  restore();
}

}  // namespace platform
