// live_monitor.h - shows the state of a capture while the run waits for its input.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "host/source/packet.h"
#include "host/display/live_status.h"

namespace veltra::host {

// The bytes that the search for the database's UUID has, if the plug-in's message
// tells them.
std::optional<std::uint64_t> searched_bytes(std::string_view message);

// The bytes that had been received and not read when the run ended, if the plug-in's
// message tells them.
std::optional<std::uint64_t> unread_bytes(std::string_view message);

// Writes what a live_status has to say when its time has come, on a thread of its
// own, since the run itself may wait for a byte for ever. The thread begins when the
// port is opened, and so within the run and what watches over it. The functions may
// be called on any thread.
class live_monitor {
 public:
  // Puts text on the terminal; called on one thread at a time.
  using writer = std::function<void(std::string_view)>;

  live_monitor(live_status_options options, writer write);
  live_monitor(const live_monitor&) = delete;
  live_monitor& operator=(const live_monitor&) = delete;

  // Ends the thread and takes the line off the terminal.
  ~live_monitor();

  // A packet that goes to the output, and that it has been taken there.
  void take(const packet& packet);
  void taken();

  // One of the plug-in's messages: they tell when the port is opened, and how much
  // came while the database's UUID is searched.
  void take_message(std::string_view message);

  // Shows lines that are to stay, above the counters.
  void tell(std::string_view lines);

 private:
  void show_until_ended();
  void wake_in_time();

  std::mutex mutex_;  // guards all that follows but the thread
  std::condition_variable changed_;
  live_status status_;
  const writer write_;
  std::string told_;  // and not shown yet
  bool ended_ = false;
  live_status::time_point wakes_at_ = live_status::time_point::max();  // the thread
  std::thread thread_;
};

}  // namespace veltra::host
