#include "host/source/source_events.h"

#include <kovax/source.h>

#include <charconv>
#include <system_error>

namespace veltra::host {

namespace {

enum class argument { none, number, text };

struct known_message {
  std::string_view text;  // the whole message, or what precedes its argument
  event_kind kind;
  argument follows;
};

constexpr known_message known_messages[] = {
    {"open port", event_kind::port_opening, argument::none},
    {"Cached data for locating database UID: ", event_kind::bytes_searched, argument::number},
    {"found UID: ", event_kind::uuid_found, argument::text},
    {"uuid does not match regex, continue searching ", event_kind::uuid_rejected, argument::none},
    {"try to locate db directory ", event_kind::directory_tried, argument::text},
    {"db located at path: ", event_kind::database_located, argument::text},
    {"Trying to download database config.json", event_kind::catalogue_requested, argument::none},
    {"Failed to download config.json. Reason: ", event_kind::catalogue_failed, argument::text},
    {"check if config.json is up-to-date", event_kind::catalogue_compared, argument::none},
    {"write new config.json", event_kind::catalogue_written, argument::none},
    {"check database at path: ", event_kind::database_checked, argument::text},
    {"try download database: ", event_kind::database_requested, argument::text},
    {"decoding stopped: ", event_kind::decoding_stopped, argument::text},
    {"dekodrix statistics: ", event_kind::decoder_counted, argument::text},
};

constexpr std::string_view stopped_early_start = "stopped before the end: ";

struct known_failure {
  std::string_view start;
  failure_kind kind;
};

// The first match counts.
constexpr known_failure known_failures[] = {
    {"trace file does not exist", failure_kind::trace_missing},
    {"trace_file could not be opened", failure_kind::trace_unreadable},
    {"filesystem error: file_size", failure_kind::trace_not_regular},
    {"filesystem error: exists", failure_kind::path_unreachable},
    {"filesystem error: create_directories", failure_kind::cache_unusable},
    {"filesystem error: ", failure_kind::file_system_error},
    {"database file does not exist", failure_kind::database_missing},
    {"veltra plugin cannot open trace file", failure_kind::database_unreadable},
    {"Database file extension", failure_kind::database_extension},
    {"Trace database has missing fields", failure_kind::database_invalid},
    {"Invalid gzip data", failure_kind::database_not_gzip},
    {"dekodrix config not found", failure_kind::decoder_config_missing},
    {"dekodrix config failed to set", failure_kind::decoder_config_refused},
    {"[json.exception.type_error.302]", failure_kind::json_type},
    {"[json.exception", failure_kind::json_error},
    {"trace_db_locations", failure_kind::locations_missing},
    {"root missing from auto_detect_db_config", failure_kind::root_missing},
    {"Unable to download configuration content", failure_kind::catalogue_unavailable},
    {"cannot open file: ", failure_kind::file_unreadable},
    {"unable to open file to write: ", failure_kind::file_unwritable},
    {"End of file reached while searching for the database UID", failure_kind::uuid_missing},
    {"unable to locate db directory", failure_kind::database_directory_missing},
    {"unable to locate db file", failure_kind::database_file_missing},
    {"error: ERR_SERIALPORT_OPEN", failure_kind::port_not_opened},
    {"error: ERR_ASSIGN_SETTINGS", failure_kind::port_settings_refused},
    {"error: ERR_QUERY_SETTINGS", failure_kind::port_settings_unknown},
    {"port closed", failure_kind::port_lost},
    {"serialcommunication error", failure_kind::port_lost},
    {"stop extracting", failure_kind::stopped},
    {stopped_early_start, failure_kind::stopped_early},
};

bool take_prefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::optional<std::uint64_t> take_number(std::string_view& text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

// Fills the event and returns true if `message` is of the `known` kind.
bool matches(const known_message& known, std::string_view message, source_event& event) {
  if (!take_prefix(message, known.text)) return false;
  if (known.follows == argument::text) {
    event.detail = message;
  } else {
    if (known.follows == argument::number) {
      const auto number = take_number(message);
      if (!number) return false;
      event.bytes = *number;
    }
    if (!message.empty()) return false;
  }
  event.kind = known.kind;
  return true;
}

}  // namespace

source_event parse_event(std::int32_t level, std::string_view message) {
  source_event event;
  event.is_failure = level >= KOVAX_LOG_RECOVERABLE_FAILURE;
  for (const known_message& known : known_messages) {
    if (matches(known, message, event)) return event;
  }
  event.bytes = 0;
  event.detail = message;
  return event;
}

failure_kind classify_failure(std::string_view message) {
  for (const known_failure& known : known_failures) {
    if (message.starts_with(known.start)) return known.kind;
  }
  return failure_kind::other;
}

std::optional<undelivered_data> parse_undelivered(std::string_view message) {
  if (!take_prefix(message, stopped_early_start)) return std::nullopt;
  const auto bytes = take_number(message);
  if (!bytes || !take_prefix(message, " received bytes and ")) return std::nullopt;
  const auto traces = take_number(message);
  if (!traces || !take_prefix(message, " decoded traces were not delivered")) return std::nullopt;
  return undelivered_data{*bytes, *traces};
}

bool mentions_path(std::string_view message, std::string_view path) {
  return message.find(path) != std::string_view::npos;
}

}  // namespace veltra::host
