#include "platform/program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace platform {

namespace {

// `input` becomes the program's standard input; negative: it gets none. Its standard
// output is not ours, which may be a pipe that must end with us.
std::error_code spawn(const std::vector<std::string>& arguments, int input) {
  std::vector<char*> words;
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (input >= 0) {
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  } else {
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  }
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // We ignore SIGPIPE; a program expects its default.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF);

  pid_t process = 0;
  const int error =
      posix_spawnp(&process, words.front(), &actions, &attributes, words.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return {error, std::generic_category()};
}

}  // namespace

std::error_code start_program(const std::vector<std::string>& arguments) {
  return spawn(arguments, -1);
}

std::error_code start_reader_of_stdout(const std::vector<std::string>& arguments) {
  int ends[2] = {};
  if (pipe2(ends, O_CLOEXEC) != 0) return {errno, std::generic_category()};
  std::error_code error = spawn(arguments, ends[0]);
  if (!error && dup2(ends[1], STDOUT_FILENO) < 0) error = {errno, std::generic_category()};
  close(ends[0]);
  close(ends[1]);
  return error;
}

}  // namespace platform
