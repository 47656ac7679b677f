#include "host/output/secret_slots.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/output/pcapng_blocks.h"

namespace veltra::host {

namespace {

// A line that key log readers ignore; '#' throughout, so that the filling may
// begin anywhere in it.
constexpr std::size_t filling_line = 64;

std::string padded(std::string_view key_log) {
  std::string text(key_log);
  text.resize(secret_slots::capacity, '#');
  for (std::size_t end = secret_slots::capacity; end > key_log.size();) {
    text[end - 1] = '\n';
    end -= std::min(filling_line, end);
  }
  return text;
}

// The whole lines at the front of `text` that fit into a slot.
std::string_view that_fit(std::string_view text) {
  if (text.size() <= secret_slots::capacity) return text;
  return text.substr(0, text.rfind('\n', secret_slots::capacity - 1) + 1);
}

}  // namespace

secret_slots::secret_slots(output_file& file, tls_key_log& key_log)
    : file_(file), key_log_(key_log) {}

void secret_slots::before_ip_packet(std::span<const std::uint8_t> /*packet*/) {
  if (!slot_) {
    slot_ = reserve();
  } else if (!next_ && key_log_.pending() > capacity / 2) {
    next_ = reserve();
  }
}

void secret_slots::write(std::string_view blocks) {
  file_.write(blocks);
}

void secret_slots::random_bytes_came() {
  close_full_slot();
}

void secret_slots::master_came() {
  close_full_slot();
}

void secret_slots::close_full_slot() {
  if (key_log_.pending() <= capacity / 4 * 3) return;
  taken_ += key_log_.take();
  put();
  slot_ = std::exchange(next_, std::nullopt);
}

bool secret_slots::flush() {
  file_.flush();
  return false;
}

void secret_slots::finish() {
  taken_ += key_log_.take_rest();
  put();
}

void secret_slots::finish_without_room() {
  taken_ += key_log_.take_rest();
  if (slot_ && *slot_ < file_.size()) fill();
}

std::uint64_t secret_slots::reserve() {
  const std::uint64_t offset = file_.size();
  std::string room;
  pcapng::append_secrets(room, padded({}), pcapng::skipped_block_type);
  file_.write(room);
  return offset;
}

void secret_slots::fill() {
  const std::string_view first = that_fit(taken_);
  if (first.empty()) return;
  std::string block;
  pcapng::append_secrets(block, padded(first));
  file_.write_at(*slot_, block);
  taken_.erase(0, first.size());
}

void secret_slots::put() {
  if (slot_) fill();
  if (taken_.empty()) return;
  std::string block;
  pcapng::append_secrets(block, taken_);
  file_.write(block);
  taken_.clear();
}

}  // namespace veltra::host
