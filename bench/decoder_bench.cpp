// decoder_bench.cpp - how fast the open decoder is, beside the least that any
// decoder of the format has to do: find the flags and compute the checks.
//
// Each "decode" has a "bare_pass" over the same bytes. The counter "of_bare" is the
// decoder's throughput divided by that of the bare pass, both taken in the same
// process one after the other; "ns_per_frame" is the decoder's time per frame.
//
// The streams: payloads of 32, 256 and 4096 bytes, of text (nothing to escape) or
// random bytes (one escape in 128 bytes on average), and one of escapes only. In the
// names, content 0 is text, 1 random bytes, 2 escapes.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <vector>

#include "decoder/decoder.h"

namespace {

using bytes = std::vector<std::uint8_t>;
using namespace open_decoder;  // NOLINT(google-build-using-namespace)

enum content : std::int64_t { text, noise, escapes };

constexpr std::size_t stream_size = std::size_t{4} << 20;

void put(bytes& out, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

bytes payload(content kind, std::size_t size, std::mt19937& random) {
  bytes made(size, frame_escape);
  if (kind != escapes) {
    std::generate(made.begin(), made.end(), [&] {
      return static_cast<std::uint8_t>(kind == text ? 'a' + random() % 26 : random());
    });
  }
  return made;
}

// About stream_size bytes of frames that follow each other without a loss.
bytes make_stream(content kind, std::size_t payload_size, std::size_t& frames) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same stream every time
  bytes stream;
  for (frames = 0; stream.size() < stream_size; ++frames) {
    bytes frame;
    put(frame, frame_version, 1);
    put(frame, 3, 4);
    put(frame, frames, 4);
    put(frame, frames * 1000, 8);
    const bytes body = payload(kind, payload_size, random);
    frame.insert(frame.end(), body.begin(), body.end());
    put(frame, crc32_z(0, frame.data(), frame.size()), frame_check_size);
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
    sum += crc32_z(0, rest.data(), length);
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

template <typename Work>
double seconds(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void report_bytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(size));
}

// Arguments: content, payload size.
void bare_pass(benchmark::State& state) {
  std::size_t frames = 0;
  const bytes stream = make_stream(static_cast<content>(state.range(0)),
                                   static_cast<std::size_t>(state.range(1)), frames);
  for (auto _ : state) {
    benchmark::DoNotOptimize(bare_pass(stream));
  }
  report_bytes(state, stream.size());
}

// Arguments: content, payload size, chunk size.
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
    ->ArgNames({"content", "payload"})
    ->Args({text, 32})
    ->Args({text, 256})
    ->Args({text, 4096})
    ->Args({noise, 256})
    ->Args({noise, 4096})
    ->Args({escapes, 4096});
BENCHMARK(decode)
    ->UseManualTime()
    ->ArgNames({"content", "payload", "chunk"})
    ->ArgsProduct({{text}, {32, 256, 4096}, {plugin_chunk, large_chunk}})
    ->ArgsProduct({{noise}, {256, 4096}, {plugin_chunk, large_chunk}})
    ->Args({escapes, 4096, large_chunk});

}  // namespace
