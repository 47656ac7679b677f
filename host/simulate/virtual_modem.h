// virtual_modem.h - a session turned into what a modem would have sent, and the
// trace database of that modem's firmware.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "host/simulate/database_document.h"
#include "host/simulate/session_file.h"
#include "host/simulate/trace_player.h"

namespace veltra::host {

// Owns all that it needs; the session may go. Play `traces` with a trace_player.
struct virtual_modem {
  database_document database;
  trace_sequence traces;     // a database UID trace, then one for each message
  std::size_t messages = 0;  // in one play
};

// Builds the modem that plays `recorded`. `uuid`, if given, must be a UUID and
// becomes the database's; otherwise the database gets one of its own. Throws
// user_error (bad_input) that names the line of a message that cannot be carried.
virtual_modem make_virtual_modem(const session& recorded, const std::optional<std::string>& uuid);

// What the command line asks for.
struct simulate_options {
  std::filesystem::path session;
  std::filesystem::path trace;     // "-" is standard output; empty when there is no file
  std::filesystem::path database;  // .json, or .gz for an archive; empty: none is written
  std::uint64_t repeat = 1;
  std::optional<std::string> uuid;
};

// What has been played.
struct simulate_result {
  std::size_t messages = 0;  // in one play of the session
  std::uint64_t trace_bytes = 0;
  std::string uuid;  // the database's
  bool interrupted = false;
};

// Checks the options, reads the session and builds the modem. Throws user_error.
virtual_modem load_virtual_modem(const simulate_options& options);

// The bytes of the file that `options` name for the database: JSON or an archive.
std::string database_file_content(const simulate_options& options,
                                  const database_document& database);

}  // namespace veltra::host
