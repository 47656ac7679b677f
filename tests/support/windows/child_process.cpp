#include "tests/support/child_process.h"

#include <cstdlib>
#include <system_error>

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace test_support {

namespace {

// How a process that was killed ends; no test program returns it.
constexpr UINT killed_exit_code = 0xDEADU;

constexpr int max_attempts = 5;

HANDLE native(std::intptr_t process) {
  return reinterpret_cast<HANDLE>(process);
}

// One argument as the C library splits it off again ("Parsing C command-line
// arguments" in its reference).
void append_argument(std::wstring& line, const std::wstring& argument) {
  if (!line.empty()) line += L' ';
  line += L'"';
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') line.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    line += character;
  }
  line.append(backslashes, L'\\');
  line += L'"';
}

}  // namespace

child_process::child_process(const std::vector<std::string>& command) {
  std::wstring line;
  for (const std::string& argument : command) append_argument(line, platform::to_wide(argument));
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information = {};
  const std::wstring program = platform::to_wide(command.front());
  for (int attempt = 1; CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0,
                                       nullptr, nullptr, &startup, &information) == FALSE;
       ++attempt) {
    const DWORD error = GetLastError();
    // On a busy machine Wine gives up one process in some hundreds before it runs.
    if (error == ERROR_INTERNAL_ERROR && attempt < max_attempts) continue;
    throw std::system_error(static_cast<int>(error), std::system_category(), "CreateProcess");
  }
  CloseHandle(information.hThread);
  process_ = reinterpret_cast<std::intptr_t>(information.hProcess);
}

child_process::~child_process() {
  if (process_ == none) return;
  kill();
  wait();
}

void child_process::kill() {
  TerminateProcess(native(process_), killed_exit_code);
}

child_process::ending child_process::wait() {
  DWORD code = 0;
  WaitForSingleObject(native(process_), INFINITE);
  GetExitCodeProcess(native(process_), &code);
  CloseHandle(native(process_));
  process_ = none;
  if (code == killed_exit_code) return {true, 0};
  return {false, static_cast<int>(code)};
}

void kill_this_process() {
  TerminateProcess(GetCurrentProcess(), killed_exit_code);
  std::abort();
}

}  // namespace test_support
