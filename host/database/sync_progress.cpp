#include "host/database/sync_progress.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "host/terminal_line.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::string_view not_fetched = "not fetched: ";

}  // namespace

sync_progress::sync_progress(std::filesystem::path cache, std::FILE* out)
    : cache_(std::move(cache)), out_(out) {}

void sync_progress::take(const source_event& event) {
  events_.take(event);
  switch (event.kind) {
    case event_kind::catalogue_requested:
      begin_line("config.json", "fetched");
      break;
    case event_kind::catalogue_failed:
      outcome_ =
          fmt::format("{}{}", not_fetched, without_controls(reason_of_failed_location(event)));
      break;
    case event_kind::catalogue_compared:
      outcome_ = "up to date";
      break;
    case event_kind::catalogue_written:
      outcome_ = "new";
      break;
    case event_kind::database_checked:
      ++databases_;
      begin_line(below_cache(event.detail), "intact");
      break;
    case event_kind::database_requested:
      ++downloads_;
      outcome_ = "downloaded";
      break;
    default:
      break;
  }
}

void sync_progress::finish(bool failed) {
  if (outcome_.empty()) return;
  // The last location that did not answer says more than "failed".
  const bool known = !failed || outcome_.starts_with(not_fetched);
  show(fmt::format("{}\n", known ? outcome_ : "failed"));
  outcome_.clear();
}

void sync_progress::begin_line(const std::string& subject, const char* outcome) {
  finish(false);
  show(fmt::format("{}: ", without_controls(subject)));
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
