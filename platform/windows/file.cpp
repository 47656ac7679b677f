#include "platform/file.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace platform {

std::filesystem::path path_from_utf8(std::string_view text) {
  return {to_wide(text)};
}

std::string path_to_utf8(const std::filesystem::path& path) {
  return to_utf8(path.native());
}

namespace {

bool is_separator(wchar_t each) {
  return each == L'\\' || each == L'/';
}

bool is_drive_letter(wchar_t each) {
  return (each >= L'a' && each <= L'z') || (each >= L'A' && each <= L'Z');
}

struct mode_flags {
  int descriptor;
  const wchar_t* stream;
};

mode_flags flags_of(open_mode mode) {
  switch (mode) {
    case open_mode::read:
      return {_O_RDONLY, L"rb"};
    case open_mode::update:
      return {_O_RDWR, L"r+b"};
    case open_mode::write:
      return {_O_WRONLY | _O_CREAT | _O_TRUNC, L"wb"};
    case open_mode::create:
      return {_O_WRONLY | _O_CREAT | _O_EXCL, L"wb"};
    case open_mode::append:
      return {_O_RDWR | _O_CREAT | _O_APPEND, L"a+b"};
    case open_mode::replace:
      break;
  }
  return {_O_RDWR | _O_CREAT | _O_TRUNC, L"w+b"};
}

std::FILE* open_stream(const wchar_t* path, const mode_flags& flags) {
  int descriptor = -1;
  // Others may read what is being written, and programs that are started later
  // inherit nothing.
  const errno_t error = _wsopen_s(&descriptor, path, flags.descriptor | _O_BINARY | _O_NOINHERIT,
                                  _SH_DENYNO, _S_IREAD | _S_IWRITE);
  if (error != 0) {
    errno = error;
    return nullptr;
  }
  std::FILE* const file = _wfdopen(descriptor, flags.stream);
  if (file == nullptr) {
    const int reason = errno;
    _close(descriptor);
    errno = reason;
  }
  return file;
}

}  // namespace

// By the text: not every standard library takes a network root for one.
bool is_absolute_path(const std::filesystem::path& path) {
  const std::wstring& text = path.native();
  if (text.size() < 2) return false;
  if (is_separator(text[0]) && is_separator(text[1])) return true;
  return text.size() > 2 && is_drive_letter(text[0]) && text[1] == L':' && is_separator(text[2]);
}

bool is_pipe_name(const std::filesystem::path& path) {
  return path.native().starts_with(LR"(\\.\pipe\)");
}

std::FILE* open_file(const std::filesystem::path& path, open_mode mode) {
  return open_stream(path.c_str(), flags_of(mode));
}

std::FILE* open_pipe_for_reading(const std::filesystem::path& path) {
  return open_file(path, open_mode::read);
}

std::FILE* open_temporary_file() {
  // tmpfile() of some C libraries wants to write into the root of the drive.
  wchar_t directory[MAX_PATH + 1];
  wchar_t name[MAX_PATH + 1];
  const DWORD length = GetTempPathW(MAX_PATH + 1, directory);
  if (length == 0 || length > MAX_PATH || GetTempFileNameW(directory, L"vel", 0, name) == 0) {
    errno = EACCES;
    return nullptr;
  }
  return open_stream(name, {_O_RDWR | _O_TRUNC | _O_TEMPORARY | _O_SHORT_LIVED, L"w+b"});
}

int seek_file(std::FILE* file, std::uint64_t offset) {
  return _fseeki64(file, static_cast<std::int64_t>(offset), SEEK_SET);
}

int sync_file(std::FILE* file) {
  return std::fflush(file) == 0 && _commit(_fileno(file)) == 0 ? 0 : -1;
}

// The system writes its names through by itself.
void sync_directory(const std::filesystem::path& /*path*/) {}

std::error_code replace_file(const std::filesystem::path& from, const std::filesystem::path& to) {
  constexpr DWORD interval = 10;  // milliseconds
  for (int tries = 100;; --tries) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE) return {};
    const DWORD error = GetLastError();
    const DWORD attributes = GetFileAttributesW(to.c_str());
    const bool may_be_open =
        (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION) &&
        attributes != INVALID_FILE_ATTRIBUTES &&
        (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) == 0;
    if (!may_be_open || tries == 0) return {static_cast<int>(error), std::system_category()};
    Sleep(interval);
  }
}

void set_binary_mode(std::FILE* file) {
  _setmode(_fileno(file), _O_BINARY);
}

unsigned long process_id() {
  return GetCurrentProcessId();
}

bool is_terminal(std::FILE* file) {
  // Of the devices that _isatty() takes for a terminal only the console shows
  // anything to a person.
  DWORD mode = 0;
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  return GetConsoleMode(handle, &mode) != FALSE;
}

unsigned terminal_columns(std::FILE* file) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  if (GetConsoleScreenBufferInfo(handle, &info) == 0) return 0;
  return static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1);
}

std::filesystem::path executable_path() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) {
      throw std::filesystem::filesystem_error(
          "the running program's file is not known",
          {static_cast<int>(GetLastError()), std::system_category()});
    }
    if (length < path.size()) {
      path.resize(length);
      return {std::move(path)};
    }
    path.resize(path.size() * 2);
  }
}

}  // namespace platform
