// tls_key_log.h - from traced key material to lines that Wireshark decrypts with.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace veltra::host {

// Pairs the random bytes and master secrets of TLS sessions up to version 1.2 as they
// come, and gives the lines of a key log. One thread.
//
// The trace does not say which secret belongs to which handshake, only when
// each was seen: a handshake's random bytes first, its master secret when the
// keys are exchanged. So consecutive masters belong, in their order, to the
// latest random bytes that have no master yet. What is left over then -
// handshakes that were broken off, resumed with a known master, or traced the
// other way round - gets the nearest master: a line that fits no handshake does
// no harm, and one that fits makes a session readable.
//
// Memory is bounded, however long the trace is: the limits below, and what was not
// taken yet.
class tls_key_log {
 public:
  // Sizes after RFC 5246: two randoms of 32 bytes (7.4.1.2) and the master
  // secret (8.1).
  static constexpr std::size_t randbytes_size = 64;
  static constexpr std::size_t master_size = 48;

  // A handshake that has waited while as many others began was broken off, and a
  // master without a handshake is not kept for later than that.
  static constexpr std::size_t most_waiting = 16;
  // Material that was traced twice is known by comparing it with so many before it.
  static constexpr std::size_t most_remembered = 64;
  // So many of the latest secret lines are kept for recent().
  static constexpr std::size_t max_recent_lines = 128;

  // Each takes a copy of one trace's bytes. Material of a wrong size makes no
  // secret; it becomes a comment, and false is returned.
  bool add_randbytes(std::span<const std::uint8_t> bytes);
  bool add_session_master(std::span<const std::uint8_t> bytes);

  // What is new since the last call: for each handshake one line "CLIENT_RANDOM
  // <random> <master>" for either half of its random bytes, since some modems
  // trace the client's half first and some the server's. A handshake that turned
  // out to have another master comes again: in a key log the last line counts.
  // Each line ends in LF; the format is that of NSS key logs.
  std::string take();

  // The same at the end of the trace, with all that found no partner as comments.
  std::string take_rest();

  // The lines of the latest sessions again, of all that take() and take_rest() gave.
  std::string recent() const;

  // Counts from here on.
  void forget_counts() { refused_ = unused_masters_ = lone_handshakes_ = 0; }

  // The most bytes that take() would give now.
  std::size_t pending() const;

  // What made no secret; masters and handshakes without a partner are counted when
  // they are given up, at the latest by take_rest().
  std::size_t refused() const { return refused_; }
  std::size_t unused_masters() const { return unused_masters_; }
  std::size_t lone_handshakes() const { return lone_handshakes_; }

 private:
  using randbytes = std::array<std::uint8_t, randbytes_size>;
  using master = std::array<std::uint8_t, master_size>;

  struct handshake {
    randbytes random;
    std::optional<master> own = {};    // by the order of the traces
    std::optional<master> guess = {};  // the nearest
    bool guess_is_spare = false;       // and was taken from spare_
    bool guess_is_last_resort = false;
    std::optional<master> written = {};
    bool waiting = true;  // for its master

    const std::optional<master>& best() const { return own ? own : guess; }
  };

  void pair_run();
  void end_run();
  void refuse(std::string_view layer, std::span<const std::uint8_t> bytes);
  void give_up(const handshake& lone);
  void give_up(const master& unused);
  void write(handshake& written, std::string& to);
  void comment(std::string_view what, std::span<const std::uint8_t> bytes);

  std::list<handshake> handshakes_;  // waiting or not written yet, in order of arrival
  std::vector<master> run_;          // masters since the last random bytes
  std::vector<std::list<handshake>::iterator> run_handshakes_;  // that waited when it began
  std::deque<master> spare_;  // without a handshake, the latest at the back
  std::optional<master> last_master_;
  bool handshake_was_last_ = false;
  std::deque<randbytes> known_randbytes_;
  std::deque<master> known_masters_;
  std::deque<std::string> recent_lines_;
  std::string settled_;  // to be taken, besides the handshakes' lines

  std::size_t refused_ = 0;
  std::size_t unused_masters_ = 0;
  std::size_t lone_handshakes_ = 0;
};

}  // namespace veltra::host
