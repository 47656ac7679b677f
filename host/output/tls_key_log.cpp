#include "host/output/tls_key_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/hex.h"

namespace veltra::host {

namespace {

constexpr std::size_t random_size = tls_key_log::randbytes_size / 2;
constexpr std::string_view label = "CLIENT_RANDOM ";
// Label, random, blank, master and LF.
constexpr std::size_t line_size =
    label.size() + 2 * random_size + 1 + 2 * tls_key_log::master_size + 1;

// `bytes` as a value of a fixed size, if they have that size.
template <typename Value>
std::optional<Value> exactly(std::span<const std::uint8_t> bytes) {
  Value value;
  if (bytes.size() != value.size()) return std::nullopt;
  std::copy(bytes.begin(), bytes.end(), value.begin());
  return value;
}

template <typename Value>
bool is_known(const std::deque<Value>& known, const Value& value) {
  return std::find(known.begin(), known.end(), value) != known.end();
}

template <typename Value>
void remember(std::deque<Value>& known, const Value& value) {
  if (known.size() == tls_key_log::most_remembered) known.pop_front();
  known.push_back(value);
}

}  // namespace

bool tls_key_log::add_randbytes(std::span<const std::uint8_t> bytes) {
  const auto value = exactly<randbytes>(bytes);
  if (!value) {
    refuse("handshake_randbytes", bytes);
    return false;
  }
  // A handshake traced twice is still one handshake.
  if (is_known(known_randbytes_, *value)) return true;
  remember(known_randbytes_, *value);
  end_run();
  handshake_was_last_ = true;

  handshake& added = handshakes_.emplace_back(handshake{*value});
  if (!spare_.empty()) {
    added.guess = spare_.back();
    added.guess_is_spare = true;
    spare_.pop_back();
  } else {
    added.guess = last_master_;
    added.guess_is_last_resort = true;
  }
  const auto waits = [](const handshake& each) { return each.waiting; };
  const auto waiting = std::count_if(handshakes_.begin(), handshakes_.end(), waits);
  if (static_cast<std::size_t>(waiting) > most_waiting) {
    const auto oldest = std::find_if(handshakes_.begin(), handshakes_.end(), waits);
    give_up(*oldest);
    write(*oldest, settled_);
    handshakes_.erase(oldest);
  }
  return true;
}

bool tls_key_log::add_session_master(std::span<const std::uint8_t> bytes) {
  const auto value = exactly<master>(bytes);
  if (!value) {
    refuse("session_master", bytes);
    return false;
  }
  const bool known = is_known(known_masters_, *value);
  if (!known) remember(known_masters_, *value);
  // A known master without a new handshake before it is a repeated trace.
  if (known && !handshake_was_last_) return true;
  handshake_was_last_ = false;

  last_master_ = value;
  if (run_.empty()) {
    for (auto each = handshakes_.begin(); each != handshakes_.end(); ++each) {
      if (!each->waiting) continue;
      run_handshakes_.push_back(each);
      if (!each->guess_is_last_resort) continue;
      each->guess = value;
      each->guess_is_last_resort = false;
    }
  }
  // More masters in a row than handshakes can wait cannot all have one.
  if (run_.size() == most_waiting) {
    give_up(*value);
    return true;
  }
  run_.push_back(*value);
  pair_run();
  return true;
}

void tls_key_log::pair_run() {
  const std::size_t count = std::min(run_.size(), run_handshakes_.size());
  for (std::size_t i = 0; i < count; ++i) {
    run_handshakes_[run_handshakes_.size() - count + i]->own = run_[i];
  }
}

void tls_key_log::end_run() {
  for (const auto& each : run_handshakes_) {
    if (!each->own) continue;
    each->waiting = false;
    const bool was_used = each->written == each->guess;
    if (each->guess_is_spare && !was_used) spare_.push_front(*each->guess);
  }
  for (std::size_t i = std::min(run_.size(), run_handshakes_.size()); i < run_.size(); ++i) {
    spare_.push_back(run_[i]);
  }
  for (; spare_.size() > most_waiting; spare_.pop_front()) give_up(spare_.front());
  run_.clear();
  run_handshakes_.clear();
}

std::string tls_key_log::take() {
  std::string text = std::exchange(settled_, {});
  for (auto each = handshakes_.begin(); each != handshakes_.end();) {
    write(*each, text);
    each = each->waiting ? std::next(each) : handshakes_.erase(each);
  }
  return text;
}

std::string tls_key_log::take_rest() {
  end_run();
  std::string text = take();
  for (const handshake& each : std::exchange(handshakes_, {})) give_up(each);
  for (const master& each : std::exchange(spare_, {})) give_up(each);
  return text + std::exchange(settled_, {});
}

std::string tls_key_log::recent() const {
  std::string text;
  for (const std::string& line : recent_lines_) text += line;
  return text;
}

std::size_t tls_key_log::pending() const {
  const auto unwritten = std::count_if(
      handshakes_.begin(), handshakes_.end(),
      [](const handshake& each) { return each.best() && each.written != each.best(); });
  return settled_.size() + 2 * line_size * static_cast<std::size_t>(unwritten);
}

void tls_key_log::refuse(std::string_view layer, std::span<const std::uint8_t> bytes) {
  ++refused_;
  comment(fmt::format("{} of a wrong size", layer), bytes);
}

void tls_key_log::give_up(const handshake& lone) {
  if (lone.best()) return;
  ++lone_handshakes_;
  comment("handshake_randbytes without a master secret", lone.random);
}

void tls_key_log::give_up(const master& unused) {
  ++unused_masters_;
  comment("session_master without a handshake", unused);
}

void tls_key_log::write(handshake& written, std::string& to) {
  const std::optional<master>& secret = written.best();
  if (!secret || secret == written.written) return;
  written.written = secret;
  const std::span<const std::uint8_t> random(written.random);
  const auto first = random.first(random_size);
  const auto last = random.last(random_size);
  const bool halves_differ = !std::equal(first.begin(), first.end(), last.begin());
  for (const auto half : {first, last}) {
    std::string line(label);
    append_hex(line, half);
    line += ' ';
    append_hex(line, *secret);
    line += '\n';
    to += line;
    recent_lines_.push_back(std::move(line));
    if (recent_lines_.size() > max_recent_lines) recent_lines_.pop_front();
    if (!halves_differ) return;
  }
}

void tls_key_log::comment(std::string_view what, std::span<const std::uint8_t> bytes) {
  fmt::format_to(std::back_inserter(settled_), "# {}: ", what);
  append_hex(settled_, bytes);
  settled_ += '\n';
}

}  // namespace veltra::host
