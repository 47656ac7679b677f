// decoder_bench.cpp - how fast the open decoder is, compared with the least work of
// any decoder of the format: find the flags and compute the checks.
//
// Each "decode" has a "bare_pass" over the same bytes. The counter "of_bare" is the
// decoder's throughput divided by that of the bare pass, both measured in the same
// process one after the other; "ns_per_frame" is the decoder's time per frame. Both
// are processor time, so that other work on the machine disturbs them little.
//
// "frame" is a frame's size before stuffing, header and check included. In the names,
// content 0 is text (nothing to escape), 1 random bytes (one escape in 128 bytes on
// average), 2 random bytes of which one in four needs an escape, 3 escapes only.
#include <benchmark/benchmark.h>
#include <libdeflate.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <random>
#include <span>
#include <vector>

#include "decoder/decoder.h"

namespace {

using bytes = std::vector<std::uint8_t>;
using namespace open_decoder;  // NOLINT(google-build-using-namespace)

enum content : std::int64_t { text, noise, dense, escapes };

constexpr std::size_t stream_size = std::size_t{4} << 20;

void put(bytes& out, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

std::uint8_t payload_byte(content kind, std::mt19937& random) {
  const auto any = static_cast<std::uint8_t>(random());
  switch (kind) {
    case text:
      return static_cast<std::uint8_t>('a' + any % 26);
    case noise:
      return any;
    case dense:
      return random() % 4 == 0 ? frame_flag : any;
    case escapes:
      break;
  }
  return frame_escape;
}

// About stream_size bytes of frames that follow each other without a loss.
bytes make_stream(content kind, std::size_t frame_size, std::size_t& frames) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same stream every time
  bytes stream;
  for (frames = 0; stream.size() < stream_size; ++frames) {
    bytes frame;
    put(frame, frame_version, 1);
    put(frame, 3, 4);
    put(frame, frames, 4);
    put(frame, frames * 1000, 8);
    while (frame.size() < frame_size - frame_check_size) {
      frame.push_back(payload_byte(kind, random));
    }
    put(frame, libdeflate_crc32(0, frame.data(), frame.size()), frame_check_size);
    stream.push_back(frame_flag);
    for (const std::uint8_t byte : frame) {
      const bool escaped = byte == frame_flag || byte == frame_escape;
      if (escaped) {
        stream.push_back(frame_escape);
      }
      stream.push_back(escaped ? static_cast<std::uint8_t>(byte ^ escape_mask) : byte);
    }
    stream.push_back(frame_flag);
  }
  return stream;
}

// Finds every flag and computes the CRC of what lies between.
std::uint64_t bare_pass(const bytes& stream) {
  std::uint64_t sum = 0;
  std::span<const std::uint8_t> rest = stream;
  while (!rest.empty()) {
    const void* flag = std::memchr(rest.data(), frame_flag, rest.size());
    const std::size_t length =
        flag == nullptr
            ? rest.size()
            : static_cast<std::size_t>(static_cast<const std::uint8_t*>(flag) - rest.data());
    sum += libdeflate_crc32(0, rest.data(), length);
    rest = rest.subspan(std::min(length + 1, rest.size()));
  }
  return sum;
}

// Feeds the stream in chunks and takes every trace, as the plug-in does. Returns
// the number of traces.
std::size_t decode(decoder& subject, const bytes& stream, std::size_t chunk) {
  std::size_t traces = 0;
  std::span<const std::uint8_t> rest = stream;
  while (!rest.empty()) {
    const auto part = rest.first(std::min(chunk, rest.size()));
    subject.append(part);
    subject.parse();
    while (subject.take_trace() != nullptr) {
      ++traces;
    }
    rest = rest.subspan(part.size());
  }
  return traces;
}

// Returns the processor time of one call in seconds. A call takes milliseconds, so
// that the clock's microseconds are fine enough.
template <typename Work>
double seconds(const Work& work) {
  const std::clock_t start = std::clock();
  work();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

void report_bytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(size));
}

// Arguments: content, frame size.
void bare_pass(benchmark::State& state) {
  std::size_t frames = 0;
  const bytes stream = make_stream(static_cast<content>(state.range(0)),
                                   static_cast<std::size_t>(state.range(1)), frames);
  for (auto _ : state) {
    benchmark::DoNotOptimize(bare_pass(stream));
  }
  report_bytes(state, stream.size());
}

// Arguments: content, frame size, chunk size.
void decode(benchmark::State& state) {
  std::size_t frames = 0;
  const bytes stream = make_stream(static_cast<content>(state.range(0)),
                                   static_cast<std::size_t>(state.range(1)), frames);
  const auto chunk = static_cast<std::size_t>(state.range(2));
  decoder subject;
  if (!subject.set_configuration(
          R"({"format":"veltra-frames","version":1,"masters":[{"id":3}],)"
          R"("loss_trace":{"master_id":3,"trace_id":4095,"trace_id_size":2}})") ||
      decode(subject, stream, chunk) != frames) {
    state.SkipWithError("the stream does not decode to its frames");
    return;
  }
  double bare = 0;
  double decoding = 0;
  for (auto _ : state) {
    std::size_t traces = 0;
    const double taken = seconds([&] { traces = decode(subject, stream, chunk); });
    benchmark::DoNotOptimize(traces);
    state.SetIterationTime(taken);
    decoding += taken;
    bare += seconds([&] { benchmark::DoNotOptimize(bare_pass(stream)); });
  }
  report_bytes(state, stream.size());
  state.counters["of_bare"] = bare / decoding;
  state.counters["ns_per_frame"] =
      decoding * 1e9 / static_cast<double>(state.iterations()) / static_cast<double>(frames);
}

constexpr std::int64_t plugin_chunk = 1024;  // what the plug-in reads by default
constexpr std::int64_t large_chunk = 65536;

BENCHMARK(bare_pass)
    ->ArgNames({"content", "frame"})
    ->ArgsProduct({{text, noise, dense, escapes}, {100, 1000}});
BENCHMARK(decode)
    ->UseManualTime()
    ->ArgNames({"content", "frame", "chunk"})
    ->ArgsProduct({{text, noise, dense, escapes}, {100, 1000}, {plugin_chunk, large_chunk}});

}  // namespace
