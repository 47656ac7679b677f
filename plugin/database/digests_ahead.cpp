#include "plugin/database/digests_ahead.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/hex.h"
#include "platform/file.h"
#include "platform/sha256.h"
#include "platform/thread.h"

namespace veltra {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t block_size = std::size_t{256} << 10;

}  // namespace

digests_ahead::digests_ahead(const std::vector<fs::path>& files) {
  for (const fs::path& file : files) {
    if (index_of_.try_emplace(file, files_.size()).second) files_.push_back(file);
  }
  if (files_.size() < 2) {
    index_of_.clear();
    return;
  }
  const std::size_t count =
      std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, files_.size());
  results_.resize(files_.size());
  threads_.reserve(count);
  try {
    while (threads_.size() < count) threads_.push_back(platform::start_thread([this] { work(); }));
  } catch (const std::exception&) {
    // Those that run do all of it.
    if (threads_.empty()) index_of_.clear();
  }
}

digests_ahead::~digests_ahead() {
  is_over_ = true;
  for (std::thread& each : threads_) each.join();
}

std::optional<std::string> digests_ahead::take(const fs::path& file) {
  const auto found = index_of_.find(file);
  if (found == index_of_.end()) return std::nullopt;
  std::unique_lock lock(mutex_);
  const result& wanted = results_[found->second];
  done_.wait(lock, [&] { return wanted.is_done; });
  if (!wanted.state || wanted.state != state_of(file)) return std::nullopt;
  return wanted.digest;
}

// Nothing for what is not a regular file: opening a pipe would wait forever.
std::optional<digests_ahead::file_state> digests_ahead::state_of(const fs::path& file) {
  std::error_code error;
  if (!fs::is_regular_file(file, error)) return std::nullopt;
  file_state state{};
  state.size = fs::file_size(file, error);
  if (!error) state.written = fs::last_write_time(file, error);
  return error ? std::nullopt : std::optional(state);
}

void digests_ahead::work() {
  for (std::size_t index = next_++; index < files_.size() && !is_over_; index = next_++) {
    result made;
    try {
      made.state = state_of(files_[index]);
      if (made.state) made.digest = digest_of(files_[index]);
    } catch (const std::exception&) {
      made.state.reset();
    }
    made.is_done = true;
    const std::lock_guard lock(mutex_);
    results_[index] = std::move(made);
    done_.notify_one();
  }
}

std::string digests_ahead::digest_of(const fs::path& path) const {
  const platform::owned_file file(platform::open_file(path, platform::open_mode::read));
  if (!file) throw std::runtime_error("cannot open");
  std::setvbuf(file.get(), nullptr, _IONBF, 0);  // the blocks are large
  platform::sha256_stream digest;
  std::string block(block_size, '\0');
  while (const std::size_t count = platform::read_bytes(file.get(), block.data(), block.size())) {
    digest.add(std::string_view(block).substr(0, count));
    if (is_over_) break;
  }
  if (std::ferror(file.get()) != 0) throw std::runtime_error("cannot read");
  std::string text;
  append_hex(text, digest.finish());
  return text;
}

}  // namespace veltra
