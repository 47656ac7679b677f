#include "platform/process.h"

#include <fcntl.h>
#include <io.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "platform/shell.h"
#include "platform/windows/system.h"
#include "platform/windows/text.h"

namespace platform {

namespace {

// How a process ends that this one terminated.
constexpr UINT terminated_exit_code = 0xDEADU;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

void check(BOOL succeeded, const char* what) {
  if (succeeded == FALSE) fail(what);
}

class system_handle {
 public:
  system_handle() = default;
  explicit system_handle(HANDLE handle) : handle_(handle) {}
  system_handle(system_handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  system_handle& operator=(system_handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~system_handle() {
    if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
  }

  HANDLE get() const noexcept { return handle_; }
  HANDLE release() noexcept { return std::exchange(handle_, nullptr); }

 private:
  HANDLE handle_ = nullptr;
};

// One argument as a program's start code splits it off again ("Parsing C command-line
// arguments" in the system's reference).
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

// The handles that a child inherits, and no others; at least one.
class inherited_handles {
 public:
  explicit inherited_handles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    for (const HANDLE handle : handles_) {
      check(SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT),
            "SetHandleInformation");
    }
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    storage_.resize(size);
    check(InitializeProcThreadAttributeList(list(), 1, 0, &size),
          "InitializeProcThreadAttributeList");
    if (UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                  handles_.size() * sizeof(HANDLE), nullptr, nullptr) == FALSE) {
      DeleteProcThreadAttributeList(list());
      fail("UpdateProcThreadAttribute");
    }
  }
  inherited_handles(const inherited_handles&) = delete;
  inherited_handles& operator=(const inherited_handles&) = delete;
  ~inherited_handles() { DeleteProcThreadAttributeList(list()); }

  LPPROC_THREAD_ATTRIBUTE_LIST list() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
  }

 private:
  std::vector<HANDLE> handles_;
  std::string storage_;
};

// What a child gets as its standard streams; null where it gets none.
struct standard_handles {
  HANDLE input = nullptr;
  HANDLE output = nullptr;
  HANDLE diagnostics = nullptr;
};

// `flags` as in CreateProcess. Returns the running process.
system_handle spawn(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                    const standard_handles& handles, DWORD flags) {
  std::wstring line;
  append_argument(line, program.native());
  for (const std::string& argument : arguments) append_argument(line, to_wide(argument));

  std::vector<HANDLE> given = {handles.input, handles.output, handles.diagnostics};
  std::erase(given, nullptr);
  inherited_handles inherited(given);
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = handles.input;
  startup.StartupInfo.hStdOutput = handles.output;
  startup.StartupInfo.hStdError = handles.diagnostics;
  startup.lpAttributeList = inherited.list();
  PROCESS_INFORMATION information = {};
  check(CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                       EXTENDED_STARTUPINFO_PRESENT | flags, nullptr, nullptr, &startup.StartupInfo,
                       &information),
        "CreateProcess");
  CloseHandle(information.hThread);
  return system_handle(information.hProcess);
}

system_handle open_null_device() {
  system_handle device(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
  if (device.get() == INVALID_HANDLE_VALUE) fail("CreateFile");
  return device;
}

constexpr DWORD detached = DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP;

bool is_program(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

std::filesystem::path find_program(const std::string& name) {
  if (name.empty()) return {};
  const std::filesystem::path path = path_from_utf8(name);
  if (path.has_parent_path()) return is_program(path) ? path : std::filesystem::path();
  // A null directory list would put this program's own and the working directory first.
  std::array<wchar_t, 32768> directories{};
  const DWORD length =
      GetEnvironmentVariableW(L"PATH", directories.data(), static_cast<DWORD>(directories.size()));
  if (length == 0 || length >= directories.size()) return {};
  std::array<wchar_t, 32768> found{};
  const DWORD size = SearchPathW(directories.data(), path.c_str(), L".exe",
                                 static_cast<DWORD>(found.size()), found.data(), nullptr);
  if (size == 0 || size >= found.size()) return {};
  return {std::wstring(found.data(), size)};
}

struct process::state {
  system_handle child;
  system_handle output;
  owned_file diagnostics;
};

process::process(const std::filesystem::path& program, const std::vector<std::string>& arguments)
    : state_(std::make_unique<state>()) {
  state_->diagnostics.reset(open_temporary_file());
  if (!state_->diagnostics) throw std::system_error(errno, std::generic_category(), "tmpfile");

  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  check(CreatePipe(&read_end, &write_end, nullptr, 0), "CreatePipe");
  state_->output = system_handle(read_end);
  const system_handle output(write_end);
  const system_handle input = open_null_device();
  const auto diagnostics =
      reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(state_->diagnostics.get())));
  state_->child =
      spawn(program, arguments, {input.get(), output.get(), diagnostics}, CREATE_NO_WINDOW);
}

process::~process() {
  if (state_->child.get() == nullptr) return;
  TerminateProcess(state_->child.get(), terminated_exit_code);
  WaitForSingleObject(state_->child.get(), INFINITE);
}

std::size_t process::read(std::span<char> into) {
  DWORD count = 0;
  if (ReadFile(state_->output.get(), into.data(), static_cast<DWORD>(into.size()), &count,
               nullptr) != FALSE) {
    return count;
  }
  if (GetLastError() == ERROR_BROKEN_PIPE) return 0;
  fail("ReadFile");
}

void process::terminate() noexcept {
  TerminateProcess(state_->child.get(), terminated_exit_code);
}

process::ending process::wait() {
  const system_handle child = std::move(state_->child);
  WaitForSingleObject(child.get(), INFINITE);
  DWORD code = 0;
  check(GetExitCodeProcess(child.get(), &code), "GetExitCodeProcess");
  ending result;
  result.killed = code == terminated_exit_code;
  if (!result.killed) result.exit_code = static_cast<int>(code);
  std::rewind(state_->diagnostics.get());
  result.diagnostics.resize(max_diagnostics);
  result.diagnostics.resize(
      std::fread(result.diagnostics.data(), 1, max_diagnostics, state_->diagnostics.get()));
  return result;
}

void start_program(const std::filesystem::path& program,
                   const std::vector<std::string>& arguments) {
  const system_handle input = open_null_device();
  spawn(program, arguments, {.input = input.get()}, detached);
}

void start_reader_of_stdout(const std::filesystem::path& program,
                            const std::vector<std::string>& arguments) {
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  check(CreatePipe(&read_end, &write_end, nullptr, 0), "CreatePipe");
  const system_handle input(read_end);
  system_handle output(write_end);
  // Only the read end is the program's: it must see the end when ours is closed.
  spawn(program, arguments, {.input = input.get()}, detached);
  const int descriptor =
      _open_osfhandle(reinterpret_cast<std::intptr_t>(output.release()), _O_BINARY);
  if (descriptor < 0 || _dup2(descriptor, _fileno(stdout)) != 0) {
    throw std::system_error(errno, std::generic_category(), "_dup2");
  }
  _close(descriptor);
}

int run_command(const std::string& command, const std::filesystem::path& argument) {
  // The command prompt takes the quotes around the whole line away.
  const std::string line =
      "\"" + command + " " + shell_word(path_to_utf8(argument)) + " <nul 1>&2\"";
  return _wsystem(path_from_utf8(line).c_str());
}

}  // namespace platform
