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
// Of a queue's size, but not of a very large one: three batches, one that is gathered, one
// that waits and one that is written, have room in a processor's cache.
constexpr std::size_t batch_share = 4;

}  // namespace

outlet::outlet(sink& to, delivery delivery, std::size_t max_bytes)
    : to_(to),
      delivery_(delivery),
      max_bytes_(max_bytes),
      enough_bytes_(std::min(max_bytes, max_bytes_waiting) / batch_share),
      contents_{.metadata = to.wants_metadata(), .raw_bytes = to.wants_raw_bytes()},
      is_read_meanwhile_(delivery == delivery::dropping || to.is_stream()) {}

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
  if (!is_read_meanwhile_) {
    gather(packet);
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
  filling_.append(packet, next_contents(), std::exchange(missed_, 0));
  wake_thread(std::move(lock));
}

// The first packet of a file names the database.
packet_batch::contents outlet::next_contents() {
  const bool is_first = !std::exchange(has_first_, true);
  return {.metadata = contents_.metadata || is_first, .raw_bytes = contents_.raw_bytes};
}

// A lock and a wake-up for each packet would cost as much as the rest of its way.
void outlet::gather(const packet& packet) {
  gathered_.append(packet, next_contents(), 0);
  if (gathered_.size() >= enough_bytes_ || has_ticked_.load(std::memory_order_relaxed)) hand_over();
}

void outlet::hand_over() {
  has_ticked_ = false;
  std::unique_lock lock(mutex_);
  has_room_.wait(lock, [this] { return filling_.is_empty() || failure_; });
  if (!failure_) std::swap(gathered_, filling_);
  gathered_.clear();
  wake_thread(std::move(lock));
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
  has_first_ = false;
  if (!is_read_meanwhile_) {
    gathered_.append(std::move(boundary));
    return;
  }
  std::unique_lock lock(mutex_);
  if (failure_) return;
  filling_.append(std::move(boundary));
  wake_thread(std::move(lock));
}

// Once or twice for each batch: a packet that finds the thread woken costs no call. Without
// the lock, for which the thread would only wait.
void outlet::wake_thread(std::unique_lock<std::mutex> lock) {
  const bool is_enough = has_enough();
  if (!(is_idle_ && !filling_.is_empty()) && !(is_gathering_ && is_enough)) return;
  is_idle_ = false;
  is_gathering_ = is_gathering_ && !is_enough;
  lock.unlock();
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
  has_ticked_ = true;
  const std::lock_guard lock(mutex_);
  is_due_ = true;
  changed_.notify_one();
}

void outlet::finish() {
  if (thread_.joinable() && !gathered_.is_empty()) hand_over();
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
  changed_.wait(
      lock, [this] { return is_finished_ || !filling_.is_empty() || (is_due_ && holds_back_); });
  is_idle_ = false;  // packets that come while the batch gathers need not wake the thread
  is_gathering_ = is_read_meanwhile_ && !is_finished_ && !has_enough();
  if (is_gathering_) {
    changed_.wait_for(lock, to_.is_stream() ? gathering_for_stream : gathering_for_file,
                      [this] { return is_finished_ || !is_gathering_; });
    is_gathering_ = false;
  }
  is_due_ = false;
  std::swap(filling_, writing_);
  has_room_.notify_one();
  return !is_finished_ || !writing_.is_empty();
}

void outlet::write_batch() {
  writing_.for_each(
      [this](const packet& packet, std::uint64_t missed_before) {
        if (missed_before != 0) to_.mark_missed(missed_before);
        to_.write(packet);
        written_.store(written_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
      },
      [this](const boundary& boundary) { apply(boundary); });
  writing_.clear();
}

}  // namespace veltra::host
