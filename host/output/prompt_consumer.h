// prompt_consumer.h - an output that does not wait for the next packet.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "host/output/packet_consumer.h"

namespace veltra::host {

// Flushes another consumer soon after its packets, on a thread of its own: the next
// packet of a live input may be long in coming, and who reads along, or looks at the
// file, sees what is there. The thread begins with the first packet.
class prompt_consumer : public packet_consumer {
 public:
  // A batch of packets is over after this time; it costs one write.
  static constexpr std::chrono::milliseconds usual_delay{100};

  // `on_failure` is called on the object's thread when the output takes no more; the
  // next consume() or flush() throws why.
  prompt_consumer(std::unique_ptr<packet_consumer> inner, std::function<void()> on_failure,
                  std::chrono::milliseconds delay = usual_delay);
  ~prompt_consumer() override;

  void consume(const packet& packet) override;
  bool flush() override;
  void finish() override;
  void finish_without_room() override;
  std::string remarks() const override { return inner_->remarks(); }

 private:
  void flush_until_ended();
  void throw_failure();
  void end();

  const std::unique_ptr<packet_consumer> inner_;
  const std::function<void()> on_failure_;
  const std::chrono::milliseconds delay_;
  std::mutex mutex_;  // guards inner_ and all that follows but the thread
  std::condition_variable changed_;
  bool waiting_ = false;  // there is something to flush
  bool ended_ = false;
  std::exception_ptr failure_;
  std::thread thread_;
};

}  // namespace veltra::host
