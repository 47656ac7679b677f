#include "host/database/sync_progress.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "host/console.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr const char* not_fetched = "not fetched: ";

event_kind event_of(sync_step step) {
  switch (step) {
    case sync_step::catalogue_requested:
      return event_kind::catalogue_requested;
    case sync_step::catalogue_failed:
      return event_kind::catalogue_failed;
    case sync_step::catalogue_kept:
    case sync_step::database_failed:
      break;
    case sync_step::catalogue_compared:
      return event_kind::catalogue_compared;
    case sync_step::catalogue_written:
      return event_kind::catalogue_written;
    case sync_step::database_checked:
      return event_kind::database_checked;
    case sync_step::database_requested:
      return event_kind::database_requested;
  }
  return event_kind::other;
}

}  // namespace

sync_progress::sync_progress(std::filesystem::path cache, std::FILE* out)
    : cache_(std::move(cache)), out_(out) {}

void take_step(database_events& events, sync_step step, const std::string& detail) {
  events.take({.kind = event_of(step), .is_failure = false, .bytes = 0, .detail = detail});
}

void sync_progress::on_step(sync_step step, const std::string& detail) {
  take_step(events_, step, detail);
  switch (step) {
    case sync_step::catalogue_requested:
      begin_line("config.json", "fetched");
      break;
    case sync_step::catalogue_failed:
      outcome_ = not_fetched + sanitize(events_.failed_locations().back());
      break;
    case sync_step::catalogue_kept:
      outcome_ += "; the cached one is used";
      break;
    case sync_step::database_failed:
      outcome_ = not_fetched + sanitize(detail);
      break;
    case sync_step::catalogue_compared:
      outcome_ = "up to date";
      break;
    case sync_step::catalogue_written:
      outcome_ = "new";
      break;
    case sync_step::database_checked:
      ++databases_;
      begin_line(below_cache(detail), "intact");
      break;
    case sync_step::database_requested:
      ++downloads_;
      outcome_ = "downloaded";
      break;
  }
}

void sync_progress::finish(bool failed) {
  if (outcome_.empty()) return;
  // Why the last location did not answer says more than "failed".
  const bool known = !failed || outcome_.starts_with(not_fetched);
  show(fmt::format("{}\n", known ? outcome_ : "failed"));
  outcome_.clear();
}

void sync_progress::begin_line(const std::string& subject, const char* outcome) {
  finish(false);
  show(fmt::format("{}: ", sanitize(subject)));
  outcome_ = outcome;
}

void sync_progress::show(const std::string& text) {
  // Best effort; errors are ignored.
  std::fwrite(text.data(), 1, text.size(), out_);
  std::fflush(out_);
}

std::string sync_progress::below_cache(std::string_view file) const {
  const std::filesystem::path path = platform::path_from_utf8(file);
  const std::filesystem::path below = path.lexically_relative(cache_);
  return platform::path_to_utf8(below.empty() || *below.begin() == ".." ? path : below);
}

}  // namespace veltra::host
