#include "host/capture/tls_key_log.h"

#include <algorithm>
#include <set>

#include "host/capture/hex.h"

namespace veltra::host {

namespace {

constexpr std::size_t none = static_cast<std::size_t>(-1);
constexpr std::size_t random_size = tls_key_log::randbytes_size / 2;

}  // namespace

bool tls_key_log::add_randbytes(std::span<const std::uint8_t> bytes) {
  randbytes value;
  if (bytes.size() != value.size()) return false;
  std::copy(bytes.begin(), bytes.end(), value.begin());
  // A handshake traced twice is still one handshake.
  if (handshake_numbers_.try_emplace(value, handshakes_.size()).second) {
    events_.push_back({false, handshakes_.size()});
    handshakes_.push_back(value);
  }
  return true;
}

bool tls_key_log::add_session_master(std::span<const std::uint8_t> bytes) {
  master value;
  if (bytes.size() != value.size()) return false;
  std::copy(bytes.begin(), bytes.end(), value.begin());
  const auto [found, is_new] = master_numbers_.try_emplace(value, masters_.size());
  if (is_new) masters_.push_back(value);
  // A known master without a new handshake before it is a repeated trace.
  const bool after_handshake = !events_.empty() && !events_.back().is_master;
  if (is_new || after_handshake) events_.push_back({true, found->second});
  return true;
}

std::vector<std::size_t> tls_key_log::pair_up() const {
  std::vector<std::size_t> paired(handshakes_.size(), none);
  std::vector<std::size_t> waiting;        // places of handshakes without a master
  std::vector<bool> used(events_.size());  // masters, by place

  for (std::size_t place = 0; place < events_.size();) {
    if (!events_[place].is_master) {
      waiting.push_back(place++);
      continue;
    }
    const std::size_t first = place;
    while (place < events_.size() && events_[place].is_master) ++place;
    const std::size_t count = std::min(place - first, waiting.size());
    for (std::size_t i = 0; i < count; ++i) {
      paired[events_[waiting[waiting.size() - count + i]].number] = first + i;
      used[first + i] = true;
    }
    waiting.resize(waiting.size() - count);
  }

  // What is left takes a spare master before it, else the next one, else the
  // last one. The nearest masters on either side come from one walk each way.
  std::vector<std::size_t> next(events_.size(), none);
  for (std::size_t place = events_.size(), after = none; place-- > 0;) {
    next[place] = after;
    if (events_[place].is_master) after = place;
  }
  std::vector<std::size_t> spare;
  std::size_t before = none;
  for (std::size_t place = 0; place < events_.size(); ++place) {
    const auto [is_master, number] = events_[place];
    if (is_master) {
      before = place;
      if (!used[place]) spare.push_back(place);
    } else if (paired[number] == none) {
      if (!spare.empty()) {
        paired[number] = spare.back();
        spare.pop_back();
      } else {
        paired[number] = next[place] != none ? next[place] : before;
      }
    }
  }
  return paired;
}

std::string tls_key_log::text() const {
  const std::vector<std::size_t> paired = pair_up();
  std::string text;
  std::set<std::string> written;
  for (std::size_t number = 0; number < handshakes_.size(); ++number) {
    if (paired[number] == none) continue;
    const std::span<const std::uint8_t> halves(handshakes_[number]);
    for (const auto half : {halves.first(random_size), halves.last(random_size)}) {
      std::string line = "CLIENT_RANDOM ";
      append_hex(line, half);
      line += ' ';
      append_hex(line, masters_[events_[paired[number]].number]);
      line += '\n';
      if (written.insert(line).second) text += line;
    }
  }
  return text;
}

std::size_t tls_key_log::unused_masters() const {
  std::set<std::size_t> used;
  for (const std::size_t place : pair_up()) {
    if (place != none) used.insert(events_[place].number);
  }
  return masters_.size() - used.size();
}

}  // namespace veltra::host
