#include "platform/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/file.h"

namespace platform {

namespace {

[[noreturn]] void fail(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

void check(int error, const char* what) {
  if (error != 0) fail(error, what);
}

bool is_program(const std::filesystem::path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         access(path.c_str(), X_OK) == 0;
}

// What the child gets instead of this process's own.
class spawn_setup {
 public:
  spawn_setup() {
    check(posix_spawn_file_actions_init(&actions_), "posix_spawn_file_actions_init");
    const int error = posix_spawnattr_init(&attributes_);
    if (error == 0) return;
    posix_spawn_file_actions_destroy(&actions_);
    fail(error, "posix_spawnattr_init");
  }
  spawn_setup(const spawn_setup&) = delete;
  spawn_setup& operator=(const spawn_setup&) = delete;
  ~spawn_setup() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }

  void connect(int source, int target) {
    check(posix_spawn_file_actions_adddup2(&actions_, source, target),
          "posix_spawn_file_actions_adddup2");
  }

  void connect_to_nothing(int target, int mode) {
    check(posix_spawn_file_actions_addopen(&actions_, target, "/dev/null", mode, 0),
          "posix_spawn_file_actions_addopen");
  }

  // `flags` as in posix_spawnattr_setflags(3).
  pid_t start(const std::filesystem::path& program, const std::vector<std::string>& arguments,
              int flags = 0) {
    std::vector<std::string> texts = {program.string()};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);

    // Threads of this process may hold signals back, and it ignores SIGPIPE; a program
    // expects the defaults.
    sigset_t signals;
    sigemptyset(&signals);
    check(posix_spawnattr_setsigmask(&attributes_, &signals), "posix_spawnattr_setsigmask");
    sigaddset(&signals, SIGPIPE);
    check(posix_spawnattr_setsigdefault(&attributes_, &signals), "posix_spawnattr_setsigdefault");
    check(posix_spawnattr_setflags(&attributes_, static_cast<short>(POSIX_SPAWN_SETSIGMASK |
                                                                    POSIX_SPAWN_SETSIGDEF | flags)),
          "posix_spawnattr_setflags");
    pid_t id = 0;
    check(posix_spawn(&id, program.c_str(), &actions_, &attributes_, pointers.data(), environ),
          "posix_spawn");
    return id;
  }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

// Closes what is left open of a pipe.
class pipe_ends {
 public:
  pipe_ends() {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0) fail(errno, "pipe2");
  }
  pipe_ends(const pipe_ends&) = delete;
  pipe_ends& operator=(const pipe_ends&) = delete;
  ~pipe_ends() {
    for (const int end : ends_) {
      if (end >= 0) close(end);
    }
  }

  int read_end() const { return ends_[0]; }
  int write_end() const { return ends_[1]; }
  int release_read_end() { return std::exchange(ends_[0], -1); }

 private:
  std::array<int, 2> ends_{};
};

}  // namespace

std::filesystem::path find_program(const std::string& name) {
  if (name.empty()) return {};
  if (name.find('/') != std::string::npos) {
    return is_program(name) ? std::filesystem::path(name) : std::filesystem::path();
  }
  const char* const variable = std::getenv("PATH");
  std::string_view rest = variable != nullptr ? variable : "";
  while (!rest.empty()) {
    const std::string_view directory = rest.substr(0, rest.find(':'));
    rest.remove_prefix(directory.size() < rest.size() ? directory.size() + 1 : rest.size());
    const std::filesystem::path candidate = std::filesystem::path(directory) / name;
    if (!directory.empty() && is_program(candidate)) return candidate;
  }
  return {};
}

struct process::state {
  pid_t id = -1;
  int output = -1;
  owned_file diagnostics;

  ~state() {
    if (output >= 0) close(output);
  }

  int collect() {
    int status = 0;
    while (waitpid(id, &status, 0) < 0) {
      if (errno != EINTR) fail(errno, "waitpid");
    }
    id = -1;
    return status;
  }
};

process::process(const std::filesystem::path& program, const std::vector<std::string>& arguments)
    : state_(std::make_unique<state>()) {
  state_->diagnostics.reset(open_temporary_file());
  if (!state_->diagnostics) fail(errno, "tmpfile");

  pipe_ends output;
  spawn_setup setup;
  setup.connect_to_nothing(STDIN_FILENO, O_RDONLY);
  setup.connect(output.write_end(), STDOUT_FILENO);
  setup.connect(fileno(state_->diagnostics.get()), STDERR_FILENO);
  state_->id = setup.start(program, arguments);
  state_->output = output.release_read_end();
}

process::~process() {
  if (state_->id < 0) return;
  kill(state_->id, SIGKILL);
  int status = 0;
  while (waitpid(state_->id, &status, 0) < 0 && errno == EINTR) {
  }
}

std::size_t process::read(std::span<char> into) {
  for (;;) {
    const ssize_t count = ::read(state_->output, into.data(), into.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) fail(errno, "read");
  }
}

void process::terminate() noexcept {
  kill(state_->id, SIGTERM);
}

process::ending process::wait() {
  const int status = state_->collect();
  ending result;
  if (WIFEXITED(status)) {
    result.exit_code = WEXITSTATUS(status);
  } else {
    result.killed = true;
    result.exit_code = 128 + WTERMSIG(status);
  }
  // The child wrote through a descriptor that shares the position with this one.
  std::rewind(state_->diagnostics.get());
  result.diagnostics.resize(max_diagnostics);
  result.diagnostics.resize(
      std::fread(result.diagnostics.data(), 1, max_diagnostics, state_->diagnostics.get()));
  return result;
}

// Its standard output is not ours, which may be a pipe that must end with us.
void start_program(const std::filesystem::path& program,
                   const std::vector<std::string>& arguments) {
  spawn_setup setup;
  setup.connect_to_nothing(STDIN_FILENO, O_RDONLY);
  setup.connect_to_nothing(STDOUT_FILENO, O_WRONLY);
  setup.start(program, arguments, POSIX_SPAWN_SETSID);
}

void start_reader_of_stdout(const std::filesystem::path& program,
                            const std::vector<std::string>& arguments) {
  const pipe_ends pipe;
  spawn_setup setup;
  setup.connect(pipe.read_end(), STDIN_FILENO);
  setup.connect_to_nothing(STDOUT_FILENO, O_WRONLY);
  setup.start(program, arguments, POSIX_SPAWN_SETSID);
  if (dup2(pipe.write_end(), STDOUT_FILENO) < 0) fail(errno, "dup2");
}

int run_command(const std::string& command, const std::filesystem::path& argument) {
  const char* const shell = "/bin/sh";
  int status = 0;
  try {
    spawn_setup setup;
    setup.connect_to_nothing(STDIN_FILENO, O_RDONLY);
    setup.connect(STDERR_FILENO, STDOUT_FILENO);
    const pid_t id = setup.start(shell, {"-c", command + " \"$1\"", shell, argument.string()});
    while (waitpid(id, &status, 0) < 0) {
      if (errno != EINTR) return -1;
    }
  } catch (const std::system_error&) {
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace platform
