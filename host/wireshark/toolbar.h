// toolbar.h - Wireshark's toolbar of an extcap interface, as far as the program writes to it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "platform/stream_writer.h"

namespace veltra::host {

// Commands of a control message.
enum class toolbar_command : std::uint8_t { set = 1, add = 2 };

// One message: 'T', the length of the rest as 3 bytes in big-endian order, the control's
// number, the command, the payload, which is cut to what a message holds.
std::string toolbar_message(unsigned control, toolbar_command command, std::string_view payload);

// One thread at a time. A toolbar that is gone, or that reads nothing for half a second,
// gets nothing more: it is not worth a capture.
class toolbar {
 public:
  // `pipe`: what --extcap-control-out names; empty for none. Waits for Wireshark to open it.
  explicit toolbar(const std::filesystem::path& pipe);

  void set_state(std::string_view text);
  void log(std::string_view lines);

 private:
  void send(unsigned control, toolbar_command command, std::string_view payload);

  platform::owned_file pipe_;
  platform::stream_writer writer_;
};

}  // namespace veltra::host
