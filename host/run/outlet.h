// outlet.h - the way of packets from the run's thread into a sink.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

#include "host/output/sink.h"
#include "host/run/packet_batch.h"

namespace veltra::host {

enum class delivery {
  direct,   // on the run's thread: a packet is written when push() returns
  waiting,  // on another thread; push() waits while the queue is full: a file has time
  dropping  // on another thread; what finds the queue full is missed, counted, and the
            // gap marked: a modem does not wait
};

// start() and finish() belong to the thread that owns the sink, push() to the run's
// thread, one call at a time and none beside finish(); the others may be called on any. A
// failure of the sink ends its outlet and nothing else.
class outlet {
 public:
  static constexpr std::size_t max_bytes_waiting = std::size_t{1} << 20;
  static constexpr std::size_t max_bytes_dropping = std::size_t{64} << 20;

  // `to` must outlive the object. With `dropping` the sink is flushed whenever the queue
  // is empty: somebody may read along.
  outlet(sink& to, delivery delivery, std::size_t max_bytes);
  outlet(sink& to, delivery delivery)
      : outlet(to, delivery,
               delivery == delivery::waiting ? max_bytes_waiting : max_bytes_dropping) {}
  outlet(const outlet&) = delete;
  outlet& operator=(const outlet&) = delete;

  // As finish().
  ~outlet();

  // To be called when the sink has begun.
  void start();

  // Without effect once the sink has failed.
  void push(const packet& packet);

  // For a sink of a series: never missed, however full the queue is.
  void push(boundary boundary);

  // Has the sink sync what it was given, if the delivery is direct; in place of a push().
  void sync();

  // Lets the sink have another look at what it holds back. What is gathered is handed over
  // with the next packet.
  void tick();

  // Waits until the sink has taken everything, or has failed, and ends the thread.
  void finish();

  bool has_failed() const { return has_failed_; }
  // What the sink threw; null if nothing.
  std::exception_ptr failure() const;

  sink& target() { return to_; }

  // Whether the sink has not taken the packet it was given for `limit`; true once for
  // each time that this happens. To be asked now and then, on one thread.
  bool has_stalled(std::chrono::steady_clock::time_point now,
                   std::chrono::steady_clock::duration limit);
  // Packets that found no room.
  std::uint64_t missed() const;

 private:
  void write_directly(const packet& packet);
  packet_batch::contents next_contents();
  void gather(const packet& packet);
  void hand_over();
  void apply(const boundary& boundary);
  void fail(std::exception_ptr failure);
  bool has_enough() const { return filling_.size() >= enough_bytes_; }
  void wake_thread(std::unique_lock<std::mutex> lock);
  void write_until_finished();
  bool take_batch();
  void write_batch();

  sink& to_;
  const delivery delivery_;
  const std::size_t max_bytes_;
  const std::size_t enough_bytes_;  // for a batch that nothing more need be waited for
  const packet_batch::contents contents_;
  const bool is_read_meanwhile_;  // so that the sink hands on what it has
  std::atomic<bool> has_failed_ = false;
  std::atomic<bool> has_ticked_ = false;  // since the last batch
  packet_batch gathered_;                 // the pusher's, of a sink that is not read meanwhile
  bool has_first_ = false;                // of the file under way
  mutable std::mutex mutex_;              // guards what follows up to the blank line
  std::condition_variable changed_;       // there is work for the thread
  std::condition_variable has_room_;
  packet_batch filling_;
  std::uint64_t missed_ = 0;  // since the last packet that found room
  std::uint64_t missed_in_all_ = 0;
  bool is_idle_ = false;       // the thread waits, and has not been woken
  bool is_gathering_ = false;  // the thread waits for more
  bool is_due_ = false;        // for a look at what is held back
  bool is_finished_ = false;
  std::exception_ptr failure_;

  // The thread's own. Apart from what others look at with each packet, which would have to
  // fetch a line of its cache.
  alignas(64) packet_batch writing_;
  bool holds_back_ = false;
  std::atomic<std::uint64_t> written_ = 0;  // packets

  // As has_stalled() saw it.
  std::uint64_t last_seen_written_ = 0;
  std::optional<std::chrono::steady_clock::time_point> last_progress_;
  bool is_stall_reported_ = false;
  std::thread thread_;
};

}  // namespace veltra::host
