// toolbar_view.h - what Wireshark shows of a capture beside its packets.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "host/display/display.h"
#include "host/display/live_status.h"
#include "host/wireshark/toolbar.h"

namespace veltra::host {

// Messages go to the toolbar's log and the counters into its state; nothing goes to
// stderr, which Wireshark takes for a failure. Without a toolbar, as under tshark, nothing
// is shown.
class toolbar_view : public display {
 public:
  // As the constructor of toolbar.
  toolbar_view(const std::string& port, const std::filesystem::path& pipe);

  void take_packet(const packet& packet) override;
  void take_event(const source_event& event) override;
  void show_lines(std::string_view lines) override;
  void tick(time_point now) override;
  void end() override;

 private:
  std::mutex mutex_;  // guards what follows up to the blank line
  live_status status_;
  std::string lines_;  // not shown yet
  bool has_ended_ = false;
  bool is_open_ = false;  // the port, as far as the plug-in says

  time_point next_state_{};  // of the thread of tick(), then that of end()
  toolbar toolbar_;
};

}  // namespace veltra::host
