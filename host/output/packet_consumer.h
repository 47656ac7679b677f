// packet_consumer.h - what takes the packets of a run.
#pragma once

#include <string>

#include "host/source/packet.h"

namespace veltra::host {

// Takes every packet of a run in order, on the thread of the run. Failures are
// user_errors; after one the consumer is only destroyed.
class packet_consumer {
 public:
  packet_consumer() = default;
  packet_consumer(const packet_consumer&) = delete;
  packet_consumer& operator=(const packet_consumer&) = delete;
  virtual ~packet_consumer() = default;

  // One packet, raw or decoded. Its views end with the call.
  virtual void consume(const packet& packet) = 0;

  // No more packets follow: everything still held goes to the output. Called
  // once; the output itself is committed by its owner.
  virtual void finish() = 0;

  // Hands what was taken on to who reads the output, to the last byte. Returns true
  // while something is held back on purpose, so that it has to be asked again.
  virtual bool flush() = 0;

  // The output takes no more bytes, and its last ones are lost: brings what is in it
  // into order. Instead of finish().
  virtual void finish_without_room() {}

  // What did not become what it should be in the output, in words for the summary;
  // empty if nothing. After finish().
  virtual std::string remarks() const { return {}; }
};

}  // namespace veltra::host
