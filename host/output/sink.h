// sink.h - what takes the packets of a run.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/output/piece.h"
#include "host/output/provenance.h"
#include "host/source/packet.h"

namespace veltra::host {

// An output of a run: begin(), then write() for every packet in order, flush() now and
// then, finish() once. One thread at a time, except for limit_writes(). Failures are
// user_errors; after one only salvage(), the descriptions and destruction follow. A sink
// that is not finished or salvaged leaves nothing under its name, unless it says
// otherwise.
class sink {
 public:
  sink() = default;
  sink(const sink&) = delete;
  sink& operator=(const sink&) = delete;
  virtual ~sink() = default;

  // What the output may say about where its packets come from. Before begin().
  virtual void set_provenance(const provenance& /*facts*/) {}

  // Opens the output and writes what precedes the first packet; a reader of a stream
  // gets it now, since the first packet may be hours away.
  virtual void begin() = 0;

  // One packet, raw or decoded. Its views end with the call.
  virtual void write(const packet& packet) = 0;

  // `count` packets before the next one did not get here: marks the gap.
  virtual void mark_missed(std::uint64_t count) = 0;

  // What happened before the next packet, which carries the remark if the format has a
  // place for it.
  virtual void add_remark(std::string_view /*remark*/) {}

  // What follows belongs to the next file of a series, see rotating_sink.
  virtual void begin_piece(const piece& /*next*/) {}
  // Completes the file under way.
  virtual void end_piece() {}

  // Hands on everything that is not held back on purpose. Returns true while something
  // is, so that it has to be asked again.
  virtual bool flush() = 0;

  // Makes sure that everything that is not held back survives a loss of power.
  virtual void sync() {}

  // Completes the output and gives it its name.
  virtual void finish() = 0;

  // After a failure: completes the output with the whole records in it, under another
  // name if its own cannot be had. Returns false if that is not possible.
  virtual bool salvage() = 0;

  // Somebody waits for the end: a reader that stalls is a failure soon, see output_file.
  // Any thread.
  virtual void limit_writes() noexcept = 0;

  // True if packets' metadata is written; otherwise nobody need copy more than that of the
  // first packet, which names the database.
  virtual bool wants_metadata() const { return false; }

  // False if the bytes of raw packets need not be copied: it gets the packets without them.
  virtual bool wants_raw_bytes() const { return true; }

  // True if the output is read while it is written, and cannot be taken back.
  virtual bool is_stream() const = 0;

  // Bytes written so far. Any thread.
  virtual std::uint64_t bytes() const { return 0; }
  // The same of the piece `number` of a series, if it is the one under way; otherwise 0.
  virtual std::uint64_t piece_bytes(std::uint32_t /*number*/) const { return 0; }

  // Packets written so far; on the thread of the sink's calls, or after the end.
  virtual std::uint64_t packets() const { return 0; }

  // Where the output is, for a person to read.
  virtual std::string name() const = 0;

  // What did not become what it should be in the output, for the summary; empty if
  // nothing. After finish() or salvage().
  virtual std::string remarks() const { return {}; }
};

}  // namespace veltra::host
