// queued_sink.h - a sink on a thread of its own, behind a bounded queue.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/output/sink.h"

namespace veltra::host {

// What happens to a packet for which the queue has no room.
enum class when_full {
  wait,  // push() waits: a file can be read more slowly
  drop,  // it is missed, counted, and the gap marked: a modem does not wait
};

// Formats and writes on another thread than the one that reads the input. start() and
// finish() belong to the thread that owns the sink; push() to the run's thread; the others
// may be called on any.
class queued_sink {
 public:
  static constexpr std::size_t max_bytes_waiting = std::size_t{1} << 20;
  static constexpr std::size_t max_bytes_dropping = std::size_t{64} << 20;

  // `to` must outlive the object and have begun. Live sinks (`drop`) are flushed
  // whenever the queue is empty.
  queued_sink(sink& to, when_full policy, std::size_t max_bytes);
  queued_sink(sink& to, when_full policy)
      : queued_sink(to, policy,
                    policy == when_full::wait ? max_bytes_waiting : max_bytes_dropping) {}
  queued_sink(const queued_sink&) = delete;
  queued_sink& operator=(const queued_sink&) = delete;

  // As finish().
  ~queued_sink();

  void start();

  // Copies the packet into the queue. Without effect once the sink has failed.
  void push(const packet& packet);

  // Lets the sink have another look at what it holds back.
  void tick();

  // Waits until the sink has taken everything, or has failed, and ends the thread.
  void finish();

  bool has_failed() const { return has_failed_; }
  // What the sink threw; null if nothing. After has_failed() or finish().
  std::exception_ptr failure() const;

  // Packets that the sink has taken; with has_work() it shows a sink that stalls.
  std::uint64_t written() const { return written_; }
  bool has_work() const;
  // Packets that found no room.
  std::uint64_t missed() const;

 private:
  struct entry {
    packet values;                // without its views
    std::uint64_t missed_before;  // packets
    std::size_t layer_size;
    std::size_t category_size;
    std::size_t metadata_size;
    std::size_t payload_size;
  };
  // Packets in their order, with all of their texts and bytes in one block.
  struct batch {
    std::vector<entry> entries;
    std::string bytes;

    std::size_t size() const { return bytes.size() + entries.size() * sizeof(entry); }
    void append(const packet& packet, bool with_metadata, std::uint64_t missed_before);
    void clear();
  };

  void write_until_finished();
  bool take_batch();
  void write_batch();

  sink& to_;
  const when_full policy_;
  const std::size_t max_bytes_;
  const bool with_metadata_;
  mutable std::mutex mutex_;  // guards what follows up to the blank line
  std::condition_variable changed_;   // there is work for the thread
  std::condition_variable has_room_;
  batch filling_;
  std::uint64_t missed_ = 0;         // since the last packet that found room
  std::uint64_t missed_in_all_ = 0;
  bool is_idle_ = false;   // the thread waits
  bool is_due_ = false;    // for a look at what is held back
  bool is_finished_ = false;
  std::exception_ptr failure_;

  batch writing_;             // the thread's own
  bool holds_back_ = false;   // likewise
  std::atomic<std::uint64_t> written_ = 0;
  std::atomic<bool> has_failed_ = false;
  std::thread thread_;
};

}  // namespace veltra::host
