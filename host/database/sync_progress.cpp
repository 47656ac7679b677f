#include "host/database/sync_progress.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "host/console.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::string_view not_fetched = "not fetched: ";

}  // namespace

sync_progress::sync_progress(std::filesystem::path cache, std::FILE* out)
    : cache_(std::move(cache)), out_(out) {}

void sync_progress::take(std::int32_t /*level*/, std::string_view message) {
  log_.take(message);
  std::string_view rest;
  if (message == "Trying to download database config.json") {
    begin_line("config.json", "fetched");
  } else if (split_message(message, catalogue_not_fetched, rest)) {
    outcome_ = fmt::format("{}{}", not_fetched, sanitize(reason_of(rest)));
  } else if (message == "check if config.json is up-to-date") {
    outcome_ = "up to date";
  } else if (message == "write new config.json") {
    outcome_ = "new";
  } else if (split_message(message, "check database at path: ", rest)) {
    ++databases_;
    begin_line(below_cache(rest), "intact");
  } else if (message.starts_with("try download database: ")) {
    ++downloads_;
    outcome_ = "downloaded";
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
  show(fmt::format("{}: ", sanitize(subject)));
  outcome_ = outcome;
}

void sync_progress::show(const std::string& text) {
  // Whatever becomes of it: the work that it tells of goes on.
  std::fwrite(text.data(), 1, text.size(), out_);
  std::fflush(out_);
}

std::string sync_progress::below_cache(std::string_view file) const {
  const std::filesystem::path path = platform::path_from_utf8(file);
  const std::filesystem::path below = path.lexically_relative(cache_);
  return platform::path_to_utf8(below.empty() || *below.begin() == ".." ? path : below);
}

}  // namespace veltra::host
