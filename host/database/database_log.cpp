#include "host/database/database_log.h"

#include <utility>

namespace veltra::host {

bool split_message(std::string_view message, std::string_view start, std::string_view& rest) {
  if (!message.starts_with(start)) return false;
  rest = message.substr(start.size());
  return true;
}

std::string_view reason_of(std::string_view text) {
  return text.empty() ? "that is no address to fetch from" : text;
}

void database_log::take(std::string_view message) {
  std::string_view rest;
  if (split_message(message, catalogue_not_fetched, rest)) {
    failed_locations_.emplace_back(reason_of(rest));
  } else if (split_message(message, "check database at path: ", rest)) {
    file_ = rest;
    downloading_.clear();
  } else if (split_message(message, "try download database: ", rest)) {
    downloading_ = rest;
  } else if (message.starts_with("Cached data for locating database UID: ")) {
    uuid_.clear();
    rejected_ = 0;
  } else if (split_message(message, "found UID: ", rest)) {
    uuid_ = rest;
  } else if (message == uuid_rejected) {
    rejected_text_ = std::exchange(uuid_, {});
    rejected_is_new_ = ++rejected_ > most_rejected_;
    if (rejected_is_new_) most_rejected_ = rejected_;
  } else if (split_message(message, "try to locate db directory ", rest)) {
    directories_.emplace_back(rest);
  } else if (split_message(message, "db located at path: ", rest)) {
    located_ = rest;
  }
}

}  // namespace veltra::host
