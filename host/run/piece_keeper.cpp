#include "host/run/piece_keeper.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>

#include "host/console.h"
#include "host/display/summary.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/process.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

fs::path directory_of(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// With what belongs to it and is named after it.
bool delete_piece(const fs::path& path) {
  std::error_code error;
  const bool is_deleted = fs::remove(path, error);
  fs::path sidecar = path;
  fs::remove(sidecar += ".json", error);
  return is_deleted;
}

}  // namespace

std::uint64_t piece_keeper::system_free_space(const fs::path& directory) {
  std::error_code error;
  const fs::space_info space = fs::space(directory, error);
  // A figure that cannot be had must not delete files or end the run.
  return error ? std::numeric_limits<std::uint64_t>::max() : space.available;
}

piece_keeper::piece_keeper(keeping_options options, std::function<void(const std::string&)> note,
                           free_space free)
    : options_(std::move(options)), note_(std::move(note)), free_(std::move(free)) {}

void piece_keeper::begin(const piece& piece) {
  const std::lock_guard lock(mutex_);
  latest_ = piece;
  delete_surplus();
}

void piece_keeper::add(const piece& piece, const fs::path& path) {
  if (options_.max_pieces != 0) {
    const std::lock_guard lock(mutex_);
    complete_.emplace(piece.number, path);
    delete_surplus();
  }
  if (options_.prints_names) names_.add([this, path] { announce(path); });
  if (!options_.command.empty()) commands_.add([this, path] { run_command(path); });
}

// With the piece under way there are as many as there may be.
void piece_keeper::delete_surplus() {
  if (options_.max_pieces == 0) return;
  while (!complete_.empty() &&
         complete_.begin()->first + std::uint64_t{options_.max_pieces} <= latest_.number) {
    names_.add([path = complete_.begin()->second] { delete_piece(path); });
    complete_.erase(complete_.begin());
  }
}

std::vector<fs::path> piece_keeper::current_files() {
  if (!options_.is_series) return options_.bases;
  const std::lock_guard lock(mutex_);
  std::vector<fs::path> files;
  if (latest_.number == 0) return files;
  for (const fs::path& base : options_.bases) files.push_back(piece_path(base, latest_));
  return files;
}

bool piece_keeper::make_room() {
  if (options_.min_free == 0) return true;
  while (!is_room()) {
    if (options_.max_pieces == 0 || !delete_oldest()) return false;
  }
  return true;
}

bool piece_keeper::is_room() const {
  return std::all_of(options_.bases.begin(), options_.bases.end(), [this](const fs::path& base) {
    return free_(directory_of(base)) >= options_.min_free;
  });
}

// The oldest of each series, so that raw trace and capture stay together.
bool piece_keeper::delete_oldest() {
  const std::lock_guard lock(mutex_);
  bool is_any_deleted = false;
  for (const fs::path& base : options_.bases) {
    const std::vector<fs::path> pieces = find_pieces(base);
    if (pieces.empty() || pieces.front() == piece_path(base, latest_)) continue;
    if (!delete_piece(pieces.front())) continue;
    is_any_deleted = true;
    std::erase_if(complete_, [&](const auto& each) { return each.second == pieces.front(); });
  }
  return is_any_deleted;
}

std::string piece_keeper::describe_shortage() const {
  const auto full = std::find_if(
      options_.bases.begin(), options_.bases.end(),
      [this](const fs::path& base) { return free_(directory_of(base)) < options_.min_free; });
  return fmt::format(
      "less than {} are free in {}", format_bytes(static_cast<double>(options_.min_free)),
      full == options_.bases.end() ? "the directory" : platform::path_to_utf8(directory_of(*full)));
}

void piece_keeper::announce(const fs::path& path) {
  try {
    print(platform::path_to_utf8(path) + "\n");
  } catch (const user_error& error) {
    if (!std::exchange(is_print_failure_noted_, true)) note_(error.what());
  }
}

void piece_keeper::run_command(const fs::path& path) {
  const int result = platform::run_command(options_.command, path);
  if (result == 0) return;
  note_(fmt::format(
      "\"{}\" for {} {}.", sanitize(options_.command), platform::path_to_utf8(path),
      result < 0 ? "could not be started" : fmt::format("ended with exit code {}", result)));
}

void piece_keeper::finish() {
  names_.finish();
  commands_.finish();
}

}  // namespace veltra::host
