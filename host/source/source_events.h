// source_events.h - what the plug-in reports, as types. Only source_events.cpp knows
// its texts; everybody else takes events and kinds of failures.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace veltra::host {

enum class event_kind {
  other,                // detail: the whole message
  port_opening,         // the serial port is about to be opened
  bytes_searched,       // bytes: of the trace, in which the database's UUID is searched
  uuid_found,           // detail: the text in the UUID's place, not checked yet
  uuid_rejected,        // the text just found is not a UUID
  directory_tried,      // detail: a directory that is searched for the database
  database_located,     // detail: the directory of the stream's database
  catalogue_requested,  // the next location of the catalogue is tried
  catalogue_failed,     // detail: why that location gave none
  catalogue_compared,   // the downloaded catalogue is compared with the cached one
  catalogue_written,    // the downloaded catalogue replaces the cached one
  database_checked,     // detail: the file whose turn it is
  database_requested,   // detail: the UUID of the database that is downloaded
  decoding_stopped,     // detail: why a recording goes on without decoding
};

// One message. Its views live as long as the text that it was made of.
struct source_event {
  event_kind kind = event_kind::other;
  bool is_failure = false;  // something failed and the plug-in goes on
  std::uint64_t bytes = 0;
  std::string_view detail;
};

// Any thread. `level` and `message` are those of the plug-in's log callback.
source_event parse_event(std::int32_t level, std::string_view message);

}  // namespace veltra::host
