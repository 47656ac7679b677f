// stream.h - makes trace streams for tests and takes them apart again.
#pragma once

#include <dekodrix/statistics.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "decoder/decoder.h"

namespace open_decoder::test {

using bytes = std::vector<std::uint8_t>;

bytes to_bytes(std::string_view text);
bytes operator+(bytes left, const bytes& right);

// Reads hexadecimal digits and ignores every other character.
bytes from_hex(std::string_view text);

// A master that `test_configuration` accepts, and one that it does not.
inline constexpr std::uint32_t known_master = 3;
inline constexpr std::uint32_t alias_master = 19;
inline constexpr std::uint32_t unknown_master = 77;

// Accepts known_master and alias_master. Losses come as traces of known_master
// with the two-byte trace id 4095.
inline constexpr std::string_view test_configuration =
    R"({"format":"veltra-frames","version":1,"masters":[{"id":3,"name":"MCU","aliases":[19,35]}],)"
    R"("loss_trace":{"master_id":3,"trace_id":4095,"trace_id_size":2,"endianness":"little"}})";

struct frame_fields {
  std::uint32_t sequence = 0;
  bytes payload;
  std::uint32_t master_id = known_master;
  std::uint64_t timestamp = 0;
};

// One frame with a flag at either end.
bytes encode(const frame_fields& fields);

// The frame before stuffing, without flags.
bytes encode_unstuffed(const frame_fields& fields);

// Stuffs and adds the flags, whatever the bytes are.
bytes stuff(std::span<const std::uint8_t> unstuffed);

// What a trace record holds.
struct trace {
  std::uint32_t master_id = 0;
  std::uint64_t channel = 0;
  std::uint64_t timestamp = 0;
  bytes data;
  bool operator==(const trace&) const = default;
};
std::ostream& operator<<(std::ostream& out, const trace& value);

// The trace that comes out of a frame, and the one that reports a loss.
trace expected(const frame_fields& fields);
trace loss_report(std::uint32_t missing, std::uint32_t damaged, std::uint64_t timestamp);

// The members of the statistics in their order.
using counts = std::array<std::uint64_t, 5>;
counts counters(const dekodrix_statistics& statistics);

// Takes all traces that wait in `source`.
std::vector<trace> take_all(decoder& source);

// Decodes a stream in pieces of `piece` bytes (the last one may be smaller), with
// `test_configuration`; by default in one.
std::vector<trace> decode(std::span<const std::uint8_t> stream,
                          std::size_t piece = static_cast<std::size_t>(-1));

// The traces without loss reports, and the counts in those.
struct outcome {
  std::vector<trace> traces;
  std::uint64_t missing = 0;
  std::uint64_t damaged = 0;
};
outcome separate(const std::vector<trace>& traces);

}  // namespace open_decoder::test
