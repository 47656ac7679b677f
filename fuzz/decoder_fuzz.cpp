// decoder_fuzz.cpp - the open decoder over any stream.
//
// The first byte of the input chooses the size of the pieces that the rest is fed
// in. Whatever the stream is, feeding it in pieces gives the same traces as
// feeding it at once, and a reset decoder gives the same as a fresh one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "decoder/decoder.h"
#include "implementation/contract.h"

namespace {

using open_decoder::decoder;

constexpr std::string_view configuration =
    R"({"format":"veltra-frames","version":1,"masters":[{"id":3,"aliases":[0,19]}],)"
    R"("loss_trace":{"master_id":3,"trace_id":4095,"trace_id_size":2}})";

struct trace {
  std::uint32_t master_id;
  std::uint64_t timestamp;
  std::vector<std::uint8_t> data;
  bool operator==(const trace&) const = default;
};

std::vector<trace> decode(decoder& subject, std::span<const std::uint8_t> stream,
                          std::size_t piece) {
  while (!stream.empty()) {
    const auto part = stream.first(std::min(piece, stream.size()));
    subject.append(part);
    subject.parse();
    stream = stream.subspan(part.size());
  }
  std::vector<trace> traces;
  const std::uint64_t count = subject.trace_count();
  while (const auto taken = subject.take_trace()) {
    KOVAX_CONTRACT((taken->data == nullptr) == (taken->data_length == 0));
    traces.push_back({taken->master_id, taken->timestamp, {}});
    if (taken->data != nullptr) {
      traces.back().data.assign(taken->data, taken->data + taken->data_length);
    }
  }
  KOVAX_CONTRACT(traces.size() == count);
  return traces;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span input(data, size);
  const std::size_t piece = input.empty() ? 1 : std::size_t{input.front()} + 1;
  const auto stream = input.subspan(std::min<std::size_t>(1, size));

  decoder subject;
  KOVAX_CONTRACT(subject.set_configuration(configuration));
  const auto at_once = decode(subject, stream, std::max<std::size_t>(1, stream.size()));
  subject.reset();
  KOVAX_CONTRACT(decode(subject, stream, piece) == at_once);
  return 0;
}
