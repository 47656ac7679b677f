#include "platform/pseudo_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace platform {

namespace {

using steady = std::chrono::steady_clock;
using outcome = pseudo_terminal::outcome;

// There is no event for a reader's end that has become empty, so it is looked at this
// often.
constexpr std::chrono::milliseconds drain_interval{5};

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

class descriptor {
 public:
  descriptor(int value, const char* what) : value_(value) {
    if (value < 0) fail(what);
  }
  descriptor(const descriptor&) = delete;
  descriptor& operator=(const descriptor&) = delete;
  ~descriptor() { close(value_); }

  int get() const { return value_; }

 private:
  int value_;
};

std::string unlocked_name(int modem) {
  char name[128] = {};
  if (grantpt(modem) != 0) fail("grantpt");
  if (unlockpt(modem) != 0) fail("unlockpt");
  if (ptsname_r(modem, name, sizeof name) != 0) fail("ptsname_r");
  return name;
}

void make_raw(int line) {
  termios settings{};
  if (tcgetattr(line, &settings) != 0) fail("tcgetattr");
  cfmakeraw(&settings);
  if (tcsetattr(line, TCSANOW, &settings) != 0) fail("tcsetattr");
}

}  // namespace

struct pseudo_terminal::state {
  state();

  enum class wanted { news, room };

  // Waits for what is wanted, at most until `deadline`, and takes note of what the
  // reader did. Returns the ready events of the modem's end.
  short wait(wanted what, std::optional<steady::time_point> deadline);
  bool interrupted() const;
  bool is_empty() const;
  std::optional<outcome> end() const;

  descriptor modem;
  std::filesystem::path device;
  // The reader's end, kept open: it outlives readers, and shows what they have not
  // read. It never reads itself.
  descriptor line;
  descriptor watch;
  descriptor wake;
  int readers = 0;
  // When the present reader was last seen to drop what its end held.
  std::optional<steady::time_point> flushed;

 private:
  void note_opens();
  void note_news();
};

pseudo_terminal::state::state()
    : modem(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "posix_openpt"),
      device(unlocked_name(modem.get())),
      line(open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "open"),
      watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "inotify_init1"),
      wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd") {
  make_raw(line.get());
  // In packet mode the modem's end learns when the reader drops its queues
  // (ioctl_tty(2), TIOCPKT).
  const int on = 1;
  if (ioctl(modem.get(), TIOCPKT, &on) != 0) fail("TIOCPKT");
  if (inotify_add_watch(watch.get(), device.c_str(), IN_OPEN | IN_CLOSE) < 0) {
    fail("inotify_add_watch");
  }
}

short pseudo_terminal::state::wait(wanted what, std::optional<steady::time_point> deadline) {
  const auto modem_events = static_cast<short>(what == wanted::room ? POLLIN | POLLOUT : POLLIN);
  std::array<pollfd, 3> watched{
      {{wake.get(), POLLIN, 0}, {watch.get(), POLLIN, 0}, {modem.get(), modem_events, 0}}};
  timespec left{};
  if (deadline) {
    const auto time = std::max(*deadline - steady::now(), steady::duration::zero());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    left = {static_cast<time_t>(seconds.count()),
            static_cast<long>(std::chrono::nanoseconds(time - seconds).count())};
  }
  if (ppoll(watched.data(), watched.size(), deadline ? &left : nullptr, nullptr) < 0 &&
      errno != EINTR) {
    fail("ppoll");
  }
  if (watched[1].revents != 0) note_opens();
  if ((watched[2].revents & POLLIN) != 0) note_news();
  return watched[2].revents;
}

void pseudo_terminal::state::note_opens() {
  alignas(inotify_event) std::array<char, 4096> events;
  const ssize_t size = read(watch.get(), events.data(), events.size());
  for (ssize_t at = 0; at < size;) {
    inotify_event event{};
    std::memcpy(&event, events.data() + at, sizeof event);
    at += static_cast<ssize_t>(sizeof event + event.len);
    if ((event.mask & IN_OPEN) != 0) ++readers;
    if ((event.mask & IN_CLOSE) != 0 && readers > 0) --readers;
    if (readers == 0) flushed.reset();
  }
}

void pseudo_terminal::state::note_news() {
  std::array<char, 4096> news;
  // The first byte says what the rest is: with 0, bytes that the reader sent.
  const ssize_t size = read(modem.get(), news.data(), news.size());
  if (size <= 0 || (news[0] & TIOCPKT_FLUSHREAD) == 0) return;
  // It may be the news of a reader that has only just opened the device.
  note_opens();
  if (readers > 0) flushed = steady::now();
}

bool pseudo_terminal::state::interrupted() const {
  pollfd watched{wake.get(), POLLIN, 0};
  return poll(&watched, 1, 0) > 0;
}

// poll(2) on the reader's end first moves on what is still on its way to it.
bool pseudo_terminal::state::is_empty() const {
  pollfd watched{line.get(), POLLIN, 0};
  return poll(&watched, 1, 0) == 0;
}

std::optional<outcome> pseudo_terminal::state::end() const {
  if (interrupted()) return outcome::interrupted;
  if (readers == 0) return outcome::reader_gone;
  return std::nullopt;
}

pseudo_terminal::pseudo_terminal() : state_(std::make_unique<state>()) {}

pseudo_terminal::~pseudo_terminal() = default;

const std::filesystem::path& pseudo_terminal::device() const {
  return state_->device;
}

pseudo_terminal::outcome pseudo_terminal::wait_for_reader(std::chrono::milliseconds settling,
                                                          std::chrono::milliseconds quiet) {
  std::optional<steady::time_point> settled;
  // The reader that is known may have left since.
  state_->wait(state::wanted::news, steady::now());
  for (;;) {
    if (state_->interrupted()) return outcome::interrupted;
    if (state_->readers == 0) {
      settled.reset();
      state_->wait(state::wanted::news, std::nullopt);
      continue;
    }
    if (!settled) settled = steady::now() + settling;
    const steady::time_point ready = state_->flushed ? *state_->flushed + quiet : *settled;
    if (steady::now() >= ready) return outcome::done;
    state_->wait(state::wanted::news, ready);
  }
}

pseudo_terminal::outcome pseudo_terminal::write(std::string_view bytes) {
  while (!bytes.empty()) {
    if (const auto ended = state_->end()) return *ended;
    if ((state_->wait(state::wanted::room, std::nullopt) & POLLOUT) == 0) continue;
    const ssize_t written = ::write(state_->modem.get(), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EAGAIN && errno != EINTR) {
      fail("write");
    }
  }
  return outcome::done;
}

pseudo_terminal::outcome pseudo_terminal::drain(std::chrono::milliseconds grace) {
  // Empty at two looks: what waits for room moves on only when a read is over, so that
  // one look can fall in between.
  for (int empty_looks = 0; empty_looks < 2;) {
    if (state_->is_empty()) {
      ++empty_looks;
    } else {
      empty_looks = 0;
      if (const auto ended = state_->end()) return *ended;
    }
    state_->wait(state::wanted::news, steady::now() + drain_interval);
  }
  const outcome ended = sleep_until(steady::now() + grace);
  return ended == outcome::reader_gone ? outcome::done : ended;
}

pseudo_terminal::outcome pseudo_terminal::sleep_until(steady::time_point when) {
  for (;;) {
    if (const auto ended = state_->end()) return *ended;
    if (steady::now() >= when) return outcome::done;
    state_->wait(state::wanted::news, when);
  }
}

void pseudo_terminal::interrupt() noexcept {
  const std::uint64_t one = 1;
  // It cannot fail: the counter is far from full.
  [[maybe_unused]] const ssize_t written = ::write(state_->wake.get(), &one, sizeof one);
}

}  // namespace platform
