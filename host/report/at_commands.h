// at_commands.h - AT commands, each with the modem's answer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/report/message.h"

namespace veltra::report {

// One command line and its final result code (3GPP TS 27.007, ITU-T V.250, 5.7.1).
struct at_command {
  std::uint32_t first_frame = 0;
  std::uint32_t last_frame = 0;
  std::uint64_t begin = 0;  // nanoseconds, as in the capture
  std::uint64_t end = 0;
  std::string command;    // "AT+CFUN=1"
  std::string result;     // "OK", "+CME ERROR: 30"; empty if none came
  bool is_error = false;  // an answer that refuses

  bool is_answered() const { return !result.empty(); }
  double milliseconds() const { return end > begin ? static_cast<double>(end - begin) / 1e6 : 0; }
};

// Pairs commands with their results. An echo of the command, intermediate lines and unsolicited
// codes in between belong to neither.
std::vector<at_command> find_at_commands(const std::vector<message>& messages);

// The command without its parameters, to count by: "AT+CFUN" of "AT+CFUN=1".
std::string at_command_name(const std::string& command);

// The state in the last registration line (+CEREG and its like, TS 27.007, 10.1.22), -1 without.
int last_registration_state(const std::vector<message>& messages);

}  // namespace veltra::report
