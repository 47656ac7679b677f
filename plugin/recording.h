// recording.h - the runs of an instance whose raw packets matter most.
#pragma once

#include <exception>
#include <string>

#include "plugin/database/host_log.h"
#include "plugin/packet_delivery.h"
#include "plugin/trace_decoding.h"
#include "plugin/trace_input.h"

namespace veltra {

// How the run of a recording instance differs from that of any other:
// - A chunk is delivered raw as soon as it was read, before it is searched or decoded.
// - A failure of the search, of the database, of the decoder or of a conversion ends the
//   decoding for good, not the run. It is logged once as a recoverable failure.
// - After a stop, or when the port is lost, everything received by then is delivered and
//   decoded, and every trace that the decoder holds is delivered. A second stop breaks
//   that off.
// One thread.
class recording {
 public:
  // Keeps its arguments, which must outlive this object.
  recording(trace_input& input, trace_decoding& decoding, packet_delivery& delivery)
      : input_(input), decoding_(decoding), delivery_(delivery) {}

  // Delivers to `to` until the input ends or is stopped; the run has begun. `log` carries
  // the instance. Throws
  // - what the host's callbacks throw; the next run goes on behind that packet,
  // - std::runtime_error "stopped before the end: N received bytes and M decoded traces
  //   were not delivered" at a second stop that finds some left; they stay for the next run,
  // - the failure of the input, when everything else is done,
  // - the failure of a search that met the end of a file.
  void run(const packet_receiver& to, const host_log& log);

 private:
  std::exception_ptr read_until_the_end();
  void deliver_what_was_received();
  void deliver_traces();
  void deliver_chunk();
  void decode_chunk();
  void give_up_if_stopped_again();
  template <typename Step>
  void decode(const Step& step);
  void end_decoding(const char* reason);
  bool is_searching() const { return !decoding_ended_ && decoding_.is_searching(); }
  std::uint64_t pending_traces();

  trace_input& input_;
  trace_decoding& decoding_;
  packet_delivery& delivery_;
  bool decoding_ended_ = false;  // by a failure
  packet_receiver to_{};         // of this run
  host_log log_;                 // of this run
  std::string chunk_;
};

}  // namespace veltra
