// trace_analysis.h - what a stream contains, and what became of it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace veltra::diagnosis {

struct trace_analysis {
  std::uint64_t bytes = 0;  // of the stream

  // Frames (docs/frame-format.md); all zero for the configuration of another decoder.
  bool is_open_format = false;
  std::uint64_t frames_found = 0;  // intact and damaged
  std::uint64_t frames_intact = 0;
  std::uint64_t frames_damaged = 0;
  std::map<std::uint32_t, std::uint64_t> unknown_masters;  // intact frames by master id
  std::uint64_t bytes_outside_frames = 0;

  std::uint64_t traces = 0;
  std::map<std::pair<std::uint32_t, std::string>, std::uint64_t> traces_by_type;  // with master id
  std::map<std::string, std::uint64_t> packets_by_layer;
  std::map<std::string, std::uint64_t> traces_without_packet;  // by the reason

  std::string stream_uuid;    // the first in the stream; empty: none
  std::string database_uuid;  // empty: none
};

// Reads a stream with one database. One thread.
class trace_analyser {
 public:
  // Reads the database file (read_database_file; its errors). A database that breaks a
  // contract ends the process: check it before.
  explicit trace_analyser(const std::filesystem::path& database);
  trace_analyser(const trace_analyser&) = delete;
  trace_analyser& operator=(const trace_analyser&) = delete;
  ~trace_analyser();

  // Takes the next bytes of the stream.
  void take(std::string_view bytes);

  // What was found so far.
  trace_analysis result();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace veltra::diagnosis
