// pseudo_terminal.h - a serial line made of software: this program is the device
// at its far end.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string_view>

namespace platform {

// A pseudo-terminal in raw mode, so that bytes arrive as they are. A reader opens
// device() like any serial port; for it, the device vanishes when the object dies.
//
// Windows has none that another program could open as a port: there the constructor
// throws std::errc::operation_not_supported.
//
// One thread, except for interrupt(). Every function throws std::system_error when
// the system refuses.
class pseudo_terminal {
 public:
  pseudo_terminal();
  pseudo_terminal(const pseudo_terminal&) = delete;
  pseudo_terminal& operator=(const pseudo_terminal&) = delete;
  ~pseudo_terminal();

  // What a reader opens.
  const std::filesystem::path& device() const;

  enum class outcome {
    done,
    interrupted,  // by interrupt()
    reader_gone,  // the last program that had the device open has closed it
  };

  // Waits until a program has opened the device and is ready: until it has dropped
  // what its end holds, as a program does after it has set up a port, and has let
  // `quiet` pass without doing so again; or until it let `settling` pass without
  // doing so at all.
  //
  // A `quiet` of some length is for readers that may drop more than once, and would
  // lose what is sent in between: Wine does so for one PurgeComm.
  outcome wait_for_reader(std::chrono::milliseconds settling, std::chrono::milliseconds quiet);

  // Sends all of `bytes`, waiting while the line is full. What the reader sends is
  // thrown away.
  outcome write(std::string_view bytes);

  // Waits until the reader has read everything, and then, for its own buffers,
  // until it has closed the device (done as well) or `grace` is over.
  outcome drain(std::chrono::milliseconds grace);

  // Sleeps until `when`, but not beyond interrupt() or the reader's end.
  outcome sleep_until(std::chrono::steady_clock::time_point when);

  // Ends what goes on, and everything that is begun later, at once. Any thread.
  void interrupt() noexcept;

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace platform
