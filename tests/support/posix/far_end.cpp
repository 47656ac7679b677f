// far_end - runs a program in an emulator and is the modem at the far end of its
// lines, which the emulator has as COM ports.
//   far_end DOSDEVICES COMMAND [ARGUMENT...]
// DOSDEVICES is the emulator's directory of devices. Ends with the command's code.
#include <fmt/format.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/pseudo_terminal.h"
#include "tests/support/far_end_protocol.h"

namespace {

namespace fs = std::filesystem;
using platform::pseudo_terminal;
using test_support::far_end_connection;
using test_support::tcp_socket;

// COM ports of these numbers belong to this program, however often it runs.
constexpr int first_port = 40;
constexpr int last_port = 199;

// Wine drops what a port has received twice when it is asked to once.
constexpr std::chrono::milliseconds quiet{250};

// The names that are given out.
class port_names {
 public:
  explicit port_names(fs::path directory) : directory_(std::move(directory)) {}

  // Gives `device` a name that is free, and returns its number.
  int add(const fs::path& device) {
    const std::lock_guard lock(mutex_);
    for (int number = first_port; number <= last_port; ++number) {
      const fs::path link = link_of(number);
      std::error_code error;
      // Left behind by a process that was killed.
      if (fs::is_symlink(link) && !fs::exists(link, error)) fs::remove(link, error);
      fs::create_symlink(device, link, error);
      if (error) continue;
      taken_.insert(number);
      return number;
    }
    throw std::runtime_error("no COM port is left in " + directory_.string());
  }

  void remove(int number) {
    const std::lock_guard lock(mutex_);
    if (taken_.erase(number) != 0) fs::remove(link_of(number));
  }

  void remove_all() {
    const std::lock_guard lock(mutex_);
    for (const int number : taken_) fs::remove(link_of(number));
    taken_.clear();
  }

 private:
  fs::path link_of(int number) const { return directory_ / fmt::format("com{}", number); }

  const fs::path directory_;
  std::mutex mutex_;
  std::set<int> taken_;
};

// A line and its name.
class named_line {
 public:
  explicit named_line(port_names& names) : names_(names), number_(names.add(line_.device())) {}
  named_line(const named_line&) = delete;
  named_line& operator=(const named_line&) = delete;
  ~named_line() { names_.remove(number_); }

  std::string name() const { return fmt::format("COM{}", number_); }
  pseudo_terminal& line() { return line_; }

 private:
  pseudo_terminal line_;
  port_names& names_;
  const int number_;
};

pseudo_terminal::outcome fulfil(pseudo_terminal& line, const std::string& request,
                                far_end_connection& peer) {
  const std::size_t blank = request.find(' ');
  const std::string what = request.substr(0, blank);
  const unsigned long number = std::stoul(request.substr(blank + 1));
  if (what == "wait") return line.wait_for_reader(std::chrono::milliseconds(number), quiet);
  if (what == "write") return line.write(peer.read_bytes(number));
  if (what == "drain") return line.drain(std::chrono::milliseconds(number));
  throw std::runtime_error("unknown request: " + request);
}

void serve(far_end_connection peer, port_names& names) {
  try {
    {
      named_line line(names);
      peer.send(line.name() + "\n");
      while (const auto request = peer.read_text()) {
        if (*request == "close") break;
        peer.send(fmt::format("{}\n", static_cast<int>(fulfil(line.line(), *request, peer))));
      }
    }
    peer.send("0\n");
  } catch (const std::exception& error) {
    fmt::print(stderr, "far_end: {}\n", error.what());
  }
}

void serve_all(const tcp_socket& listener, port_names& names) {
  for (;;) {
    std::thread([peer = far_end_connection(listener.accept()), &names]() mutable {
      serve(std::move(peer), names);
    }).detach();
  }
}

// Runs a command to its end and returns its exit code.
int run(char* const* command) {
  pid_t process = 0;
  const int error = posix_spawnp(&process, command[0], nullptr, nullptr, command, environ);
  if (error != 0) throw std::system_error(error, std::generic_category(), command[0]);
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("far_end DOSDEVICES COMMAND [ARGUMENT...]\n", stderr);
    return 2;
  }
  try {
    port_names names(argv[1]);
    const tcp_socket listener = tcp_socket::listening();
    setenv(test_support::far_end_variable, std::to_string(listener.port()).c_str(), 1);
    std::thread([&] { serve_all(listener, names); }).detach();
    const int code = run(argv + 2);
    names.remove_all();
    // Threads may still wait for a reader that will not come any more: nothing that
    // they use is torn down.
    std::fflush(nullptr);
    _exit(code);
  } catch (const std::exception& error) {
    fmt::print(stderr, "far_end: {}\n", error.what());
    return 1;
  }
}
