#include "platform/program.h"

#include <fcntl.h>
#include <io.h>

#include <cstdint>
#include <cstdio>

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace platform {

namespace {

// One argument as the C library of the started program splits a command line.
std::wstring quoted(const std::string& argument) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t each : to_wide(argument)) {
    if (each == L'"') text.append(backslashes + 1, L'\\');
    backslashes = each == L'\\' ? backslashes + 1 : 0;
    text += each;
  }
  text.append(backslashes, L'\\');
  return text + L"\"";
}

std::error_code last_error() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

std::error_code spawn(const std::vector<std::string>& arguments, HANDLE input) {
  std::wstring line;
  for (const std::string& argument : arguments) {
    if (!line.empty()) line += L' ';
    line += quoted(argument);
  }
  STARTUPINFOW start{};
  start.cb = sizeof start;
  if (input != nullptr) {
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = input;
  }
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, input != nullptr,
                      DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &start,
                      &started)) {
    return last_error();
  }
  CloseHandle(started.hThread);
  CloseHandle(started.hProcess);
  return {};
}

}  // namespace

std::error_code start_program(const std::vector<std::string>& arguments) {
  return spawn(arguments, nullptr);
}

std::error_code start_reader_of_stdout(const std::vector<std::string>& arguments) {
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (!CreatePipe(&read, &write, nullptr, 0)) return last_error();
  // Only the reader's end is the program's: it must see the end when ours is closed.
  SetHandleInformation(read, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  const std::error_code error = spawn(arguments, read);
  CloseHandle(read);
  if (error) {
    CloseHandle(write);
    return error;
  }
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(write), _O_BINARY);
  if (descriptor < 0 || _dup2(descriptor, _fileno(stdout)) != 0) {
    return {errno, std::generic_category()};
  }
  _close(descriptor);
  return {};
}

}  // namespace platform
