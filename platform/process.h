// process.h - other programs that this one starts.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace platform {

// The file that starting `name` (UTF-8) runs: the name itself if it has a directory and is an
// executable file, else the first such file in the directories of PATH, on Windows with ".exe"
// behind it if it has no ending. Empty if there is none.
std::filesystem::path find_program(const std::string& name);

// A program that runs beside this one, without input. Its standard output is a pipe that
// read() empties; its standard error is kept for wait(). One thread at a time.
class process {
 public:
  struct ending {
    bool killed = false;      // ended by a signal or by TerminateProcess()
    int exit_code = 0;        // of a killed one, 128 and the signal's number (POSIX)
    std::string diagnostics;  // standard error, at most max_diagnostics bytes of it
  };

  static constexpr std::size_t max_diagnostics = 65536;

  // Starts the file `program` with `arguments` (UTF-8, without the program's name). Throws
  // std::system_error.
  process(const std::filesystem::path& program, const std::vector<std::string>& arguments);
  process(const process&) = delete;
  process& operator=(const process&) = delete;

  // Ends the program if wait() was not called.
  ~process();

  // Waits for output and returns how many bytes of it are in `into`, 0 at its end. Throws
  // std::system_error.
  std::size_t read(std::span<char> into);

  // Asks the program to end (SIGTERM), on Windows ends it. Any thread; not while or after wait().
  void terminate() noexcept;

  // Waits for the program to end; call it once, after read() returned 0, or the program may wait
  // for a reader forever.
  ending wait();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

// Starts the file `program` with `arguments`, as above, and does not wait for it: it may
// outlive this process, and belongs to no terminal, so that Ctrl-C does not end it. Throws
// std::system_error.
void start_program(const std::filesystem::path& program, const std::vector<std::string>& arguments);

// The same, and from then on the program reads as its standard input what this process
// writes to standard output.
void start_reader_of_stdout(const std::filesystem::path& program,
                            const std::vector<std::string>& arguments);

// Runs `command` (UTF-8) by the system's shell, with `argument` as one more word behind it,
// and waits for its end. It reads nothing, and what it prints goes to this process's stderr.
// Returns its exit code, 128 and the signal's number for one that was killed (POSIX), or -1
// if it could not be started. Any thread.
int run_command(const std::string& command, const std::filesystem::path& argument);

}  // namespace platform
