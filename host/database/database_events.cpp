#include "host/database/database_events.h"

#include <algorithm>
#include <utility>

namespace veltra::host {

void database_events::take(const source_event& event) {
  switch (event.kind) {
    case event_kind::catalogue_failed:
      // libcurl has no reason for a text that is not an address.
      failed_locations_.emplace_back(event.detail.empty() ? "that is not an address to fetch from"
                                                          : event.detail);
      break;
    case event_kind::database_checked:
      file_ = event.detail;
      downloading_.clear();
      break;
    case event_kind::database_requested:
      downloading_ = event.detail;
      break;
    case event_kind::bytes_searched:
      uuid_.clear();
      rejected_ = 0;
      break;
    case event_kind::uuid_found:
      uuid_ = event.detail;
      break;
    case event_kind::uuid_rejected:
      rejected_text_ = std::exchange(uuid_, {});
      rejected_is_new_ = ++rejected_ > max_rejected_;
      max_rejected_ = std::max(max_rejected_, rejected_);
      break;
    case event_kind::directory_tried:
      directories_.emplace_back(event.detail);
      break;
    case event_kind::database_located:
      located_ = event.detail;
      break;
    default:
      break;
  }
}

}  // namespace veltra::host
