#include "platform/shell.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace platform {

namespace {

struct spawn_actions {
  posix_spawn_file_actions_t files{};
  posix_spawnattr_t attributes{};

  // The signals that this program blocks or ignores are the command's again.
  spawn_actions() {
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  spawn_actions(const spawn_actions&) = delete;
  spawn_actions& operator=(const spawn_actions&) = delete;
  ~spawn_actions() {
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
  }
};

}  // namespace

std::string shell_word(std::string_view text) {
  constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+./:,@%";
  if (!text.empty() && text.find_first_not_of(plain) == std::string_view::npos) {
    return std::string(text);
  }
  std::string word = "'";
  for (const char each : text) {
    if (each == '\'') {
      word += "'\\''";
    } else {
      word += each;
    }
  }
  return word + "'";
}

int run_command(const std::string& command, const std::filesystem::path& argument) {
  const spawn_actions actions;
  std::string shell = "/bin/sh";
  std::string option = "-c";
  std::string script = command + " \"$1\"";
  std::string word = argument.string();
  char* const words[] = {shell.data(), option.data(), script.data(),
                         shell.data(), word.data(),   nullptr};
  pid_t process = 0;
  if (posix_spawn(&process, shell.c_str(), &actions.files, &actions.attributes, words, environ) !=
      0) {
    return -1;
  }
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace platform
