#include "host/run/outlet.h"

#include <algorithm>
#include <utility>

#include "platform/thread.h"

namespace veltra::host {

namespace {

// A batch gathers for this long, so that packets that come together cost one wake-up.
// Somebody waits for those in a stream.
constexpr std::chrono::milliseconds gathering_for_file{10};
constexpr std::chrono::milliseconds gathering_for_stream{1};

std::string_view take(std::string_view& bytes, std::size_t size) {
  const std::string_view taken = bytes.substr(0, size);
  bytes.remove_prefix(size);
  return taken;
}

}  // namespace

void outlet::batch::append(const packet& packet, bool with_metadata, std::uint64_t missed_before) {
  const std::string_view metadata = with_metadata ? packet.metadata : std::string_view();
  entries.push_back({.sequence = packet.sequence,
                     .time = packet.time,
                     .time_offset = packet.time_offset,
                     .clock_step = packet.clock_step,
                     .missed_before = missed_before,
                     .layer_size = packet.layer.size(),
                     .category_size = packet.category.size(),
                     .metadata_size = metadata.size(),
                     .payload_size = packet.payload.size()});
  bytes.append(packet.layer).append(packet.category).append(metadata);
  bytes.append(reinterpret_cast<const char*>(packet.payload.data()), packet.payload.size());
}

void outlet::batch::clear() {
  entries.clear();
  boundaries.clear();
  bytes.clear();
}

outlet::outlet(sink& to, delivery delivery, std::size_t max_bytes)
    : to_(to),
      delivery_(delivery),
      max_bytes_(max_bytes),
      with_metadata_(to.wants_metadata()),
      is_read_meanwhile_(delivery == delivery::dropping || to.is_stream()),
      enough_bytes_(is_read_meanwhile_ ? 0 : std::min(bytes_per_wakeup, max_bytes)) {}

outlet::~outlet() {
  finish();
}

void outlet::start() {
  if (delivery_ == delivery::direct) return;
  thread_ = platform::start_thread([this] { write_until_finished(); });
}

void outlet::push(const packet& packet) {
  if (has_failed_) return;
  if (delivery_ == delivery::direct) {
    write_directly(packet);
    return;
  }
  std::unique_lock lock(mutex_);
  if (filling_.size() >= max_bytes_) {
    if (delivery_ == delivery::dropping) {
      ++missed_;
      ++missed_in_all_;
      return;
    }
    has_room_.wait(lock, [this] { return filling_.size() < max_bytes_ || failure_; });
  }
  if (failure_) return;
  filling_.append(packet, with_metadata_ || !std::exchange(has_first_, true),
                  std::exchange(missed_, 0));
  wake_thread();
}

void outlet::push(boundary boundary) {
  if (has_failed_) return;
  if (delivery_ == delivery::direct) {
    try {
      apply(boundary);
    } catch (...) {
      fail(std::current_exception());
    }
    return;
  }
  const std::lock_guard lock(mutex_);
  if (failure_) return;
  has_first_ = false;
  filling_.boundaries.emplace_back(filling_.entries.size(), std::move(boundary));
  wake_thread();
}

// Once for each batch: a packet that finds the thread woken costs no call.
void outlet::wake_thread() {
  if (!is_idle_ || !has_enough()) return;
  is_idle_ = false;
  changed_.notify_one();
}

void outlet::sync() {
  if (has_failed_ || delivery_ != delivery::direct) return;
  try {
    to_.sync();
  } catch (...) {
    fail(std::current_exception());
  }
}

void outlet::apply(const boundary& boundary) {
  if (boundary.next) {
    to_.begin_piece(*boundary.next);
  } else {
    to_.end_piece();
  }
  if (!boundary.remark.empty()) to_.add_remark(boundary.remark);
}

void outlet::write_directly(const packet& packet) {
  try {
    to_.write(packet);
  } catch (...) {
    fail(std::current_exception());
  }
}

void outlet::fail(std::exception_ptr failure) {
  const std::lock_guard lock(mutex_);
  failure_ = std::move(failure);
  has_failed_ = true;
  filling_.clear();
  has_room_.notify_one();
}

void outlet::tick() {
  const std::lock_guard lock(mutex_);
  is_due_ = true;
  changed_.notify_one();
}

void outlet::finish() {
  {
    const std::lock_guard lock(mutex_);
    is_finished_ = true;
    changed_.notify_one();
  }
  if (thread_.joinable()) thread_.join();
}

std::exception_ptr outlet::failure() const {
  const std::lock_guard lock(mutex_);
  return failure_;
}

bool outlet::has_stalled(std::chrono::steady_clock::time_point now,
                         std::chrono::steady_clock::duration limit) {
  const std::lock_guard lock(mutex_);
  const bool works = thread_.joinable() && !is_idle_ && !failure_;
  const std::uint64_t written = written_;
  if (!works || !last_progress_ || std::exchange(last_seen_written_, written) != written) {
    last_progress_ = now;
    is_stall_reported_ = false;
  }
  return now - *last_progress_ >= limit && !std::exchange(is_stall_reported_, true);
}

std::uint64_t outlet::missed() const {
  const std::lock_guard lock(mutex_);
  return missed_in_all_;
}

void outlet::write_until_finished() {
  try {
    while (take_batch()) {
      write_batch();
      if (is_read_meanwhile_) holds_back_ = to_.flush();
    }
    if (missed_ != 0) to_.mark_missed(missed_);
  } catch (...) {
    fail(std::current_exception());
  }
}

// Waits for work; false when everything is written and no more will come.
bool outlet::take_batch() {
  std::unique_lock lock(mutex_);
  is_idle_ = true;
  changed_.wait(lock, [this] {
    return is_finished_ || has_enough() || (is_due_ && (holds_back_ || !filling_.is_empty()));
  });
  is_idle_ = false;  // packets that come while the batch gathers need not wake the thread
  if (is_read_meanwhile_ && !is_finished_) {
    changed_.wait_for(lock, to_.is_stream() ? gathering_for_stream : gathering_for_file,
                      [this] { return is_finished_; });
  }
  is_due_ = false;
  std::swap(filling_, writing_);
  has_room_.notify_one();
  return !is_finished_ || !writing_.is_empty();
}

void outlet::write_batch() {
  std::string_view bytes = writing_.bytes;
  auto next_boundary = writing_.boundaries.begin();
  const auto apply_boundaries = [&](std::size_t index) {
    for (; next_boundary != writing_.boundaries.end() && next_boundary->first == index;
         ++next_boundary) {
      apply(next_boundary->second);
    }
  };
  for (std::size_t index = 0; index < writing_.entries.size(); ++index) {
    apply_boundaries(index);
    const entry& each = writing_.entries[index];
    packet packet;
    packet.sequence = each.sequence;
    packet.time = each.time;
    packet.time_offset = each.time_offset;
    packet.clock_step = each.clock_step;
    packet.layer = take(bytes, each.layer_size);
    packet.category = take(bytes, each.category_size);
    packet.metadata = take(bytes, each.metadata_size);
    const std::string_view payload = take(bytes, each.payload_size);
    packet.payload = {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()};
    if (each.missed_before != 0) to_.mark_missed(each.missed_before);
    to_.write(packet);
    written_.fetch_add(1, std::memory_order_relaxed);
  }
  apply_boundaries(writing_.entries.size());
  writing_.clear();
}

}  // namespace veltra::host
