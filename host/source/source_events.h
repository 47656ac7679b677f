// source_events.h - what the plug-in reports, as types. Only source_events.cpp knows
// its texts; all other code takes events and kinds of failures.
#pragma once

#include <cstdint>
#include <optional>
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
  catalogue_failed,     // detail: why that location gave none; may be empty
  catalogue_compared,   // the downloaded catalogue is compared with the cached one
  catalogue_written,    // the downloaded catalogue replaces the cached one
  database_checked,     // detail: the file whose turn it is
  database_requested,   // detail: the UUID of the database that is downloaded
  decoding_stopped,     // detail: why a recording goes on without decoding
  decoder_counted,      // detail: the decoder's counters at the end of a run, a JSON object
};

// One message. Its views live as long as the text that it was parsed from.
struct source_event {
  event_kind kind = event_kind::other;
  bool is_failure = false;  // something failed and the plug-in goes on
  std::uint64_t bytes = 0;
  std::string_view detail = {};
};

// Any thread. `level` and `message` are those of the plug-in's log callback.
source_event parse_event(std::int32_t level, std::string_view message);

// Why init or a run failed.
enum class failure_kind {
  other,
  // The input and the paths in the parameters.
  trace_missing,
  trace_unreadable,
  trace_not_regular,
  path_unreachable,  // whether a file exists cannot be determined
  // The trace database.
  database_missing,
  database_unreadable,
  database_extension,      // neither .json nor .gz
  database_invalid,        // not a trace database
  database_not_gzip,       // an archive that cannot be decompressed
  decoder_config_missing,  // the database contains no configuration for the decoder
  decoder_config_refused,  // the decoder does not accept it
  // JSON, of the catalogue or of a definition that a trace needs.
  json_type,   // a value has the wrong type
  json_error,  // any other error of the JSON library
  // The cache and its catalogue.
  locations_missing,      // an update is asked for and no location is given
  root_missing,           // a path begins with ${root} and no root is given
  catalogue_unavailable,  // no location gave a catalogue
  file_unreadable,        // the catalogue, or a database of the cache
  file_unwritable,        // the same
  cache_unusable,         // its directory cannot be created or reached
  file_system_error,      // any other
  // The search for the database that the stream names.
  uuid_missing,                // no UUID up to the end of the trace
  database_directory_missing,  // the UUID is not in the cache
  database_file_missing,       // its directory contains no database file
  // The serial port.
  port_not_opened,
  port_settings_refused,  // the line does not take the settings
  port_settings_unknown,  // the line does not report its settings
  port_lost,
  // A stop.
  stopped,        // while the plug-in waited for input
  stopped_early,  // see parse_undelivered
};

// Any thread. `message` is the text of a failure that the plug-in reported.
failure_kind classify_failure(std::string_view message);

// What a run that was stopped early had taken but not delivered.
struct undelivered_data {
  std::uint64_t received_bytes = 0;
  std::uint64_t decoded_traces = 0;

  bool operator==(const undelivered_data&) const = default;
};

// The counts in the message of failure_kind::stopped_early; nothing for other messages.
// Any thread.
std::optional<undelivered_data> parse_undelivered(std::string_view message);

// Whether the message of a failure mentions `path`, spelt as in the parameters.
bool mentions_path(std::string_view message, std::string_view path);

}  // namespace veltra::host
