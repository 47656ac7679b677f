// The decoder and the reference reader give the same results for random streams:
// damage, escapes at every place, splits at every byte, frames around the largest
// size, runs of flags.
//
// VELTRA_DIFFERENTIAL_CASES sets how many streams are tried. They follow from fixed
// seeds, so that a case that failed fails again. Each seed is a test of its own, because
// all of them take long with ThreadSanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ostream>
#include <random>

#include "tests/unit/decoder/reference_reader.h"
#include "tests/unit/decoder/stream.h"

namespace open_decoder::test {
namespace {

constexpr unsigned long default_cases = 30000;  // about two seconds
constexpr unsigned seeds = 4;

unsigned long cases_per_seed() {
  const char* wanted = std::getenv("VELTRA_DIFFERENTIAL_CASES");
  return (wanted == nullptr ? default_cases : std::strtoul(wanted, nullptr, 10)) / seeds;
}

class random_source {
 public:
  explicit random_source(unsigned seed) : engine_(seed) {}

  // A number from 0 to `limit` - 1.
  std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(engine_() % limit); }
  bool one_in(std::size_t chances) { return below(chances) == 0; }
  std::uint8_t byte() { return static_cast<std::uint8_t>(engine_()); }

 private:
  std::mt19937 engine_;
};

// Frames around the largest size with a good check, made once because that takes long.
const std::vector<bytes>& huge_frames() {
  static const auto frames = [] {
    std::vector<bytes> made;
    for (const std::uint8_t content : {std::uint8_t{'x'}, frame_flag}) {
      for (const std::size_t size :
           {max_payload_size - 1, max_payload_size, max_payload_size + 1, max_payload_size + 2}) {
        made.push_back(encode({.sequence = 7, .payload = bytes(size, content)}));
      }
    }
    return made;
  }();
  return frames;
}

// Makes one stream.
class stream_maker {
 public:
  explicit stream_maker(random_source& random) : random_(random) {
    constexpr std::array escape_chances = {2U, 4U, 40U, 100000U};
    escape_chance_ = escape_chances[random_.below(escape_chances.size())];
  }

  bytes make() {
    for (std::uint32_t parts = 1 + random_.below(10); parts > 0; --parts) {
      add_part();
    }
    if (random_.one_in(4)) {
      stream_.resize(random_.below(stream_.size() + 1));
    }
    return std::move(stream_);
  }

 private:
  void add_part() {
    switch (random_.below(12)) {
      case 0:
        add(damaged_frame());
        break;
      case 1:
        add(aborted_frame());
        break;
      case 2:
        add(stuff(checked_bytes()));
        break;
      case 3:
        add(bytes(1 + random_.below(20), frame_flag));
        break;
      case 4:
        add(some_bytes(30));
        break;
      case 5:
        add(overescaped_frame());
        break;
      case 6:
        if (random_.one_in(300)) {
          add(huge_frames()[random_.below(huge_frames().size())]);
        }
        break;
      default:
        add(encode(next_frame()));
        break;
    }
  }

  // Frames that follow each other share a flag now and then.
  void add(const bytes& part) {
    if (!stream_.empty() && stream_.back() == frame_flag && random_.one_in(4)) {
      stream_.pop_back();
    }
    stream_.insert(stream_.end(), part.begin(), part.end());
  }

  bytes some_bytes(std::size_t limit) {
    bytes made(random_.below(limit));
    for (std::uint8_t& byte : made) {
      byte = random_.byte();
      if (random_.one_in(escape_chance_)) {
        byte = random_.one_in(2) ? frame_flag : frame_escape;
      }
    }
    return made;
  }

  frame_fields next_frame() {
    constexpr std::array masters = {known_master, known_master, alias_master, unknown_master};
    switch (random_.below(8)) {
      case 0:
        sequence_ += random_.below(5);
        break;
      case 1:
        sequence_ = random_.below(2) * 0xFFFFFFFF;
        break;
      case 2:
        sequence_ += 0x7FFFFFFE + random_.below(4);
        break;
      default:
        sequence_ = sequence_ == 0xFFFFFFFF ? 1 : sequence_ + 1;
        break;
    }
    return {.sequence = sequence_,
            .payload = some_bytes(random_.one_in(8) ? 300 : 30),
            .master_id = masters[random_.below(masters.size())],
            .timestamp = random_.below(1000)};
  }

  bytes damaged_frame() {
    bytes frame = encode(next_frame());
    const auto at = frame.begin() + random_.below(frame.size());
    switch (random_.below(3)) {
      case 0:
        *at = static_cast<std::uint8_t>(*at ^ (1U << random_.below(8)));
        break;
      case 1:
        frame.erase(at, at + 1 + random_.below(static_cast<std::size_t>(frame.end() - at)));
        break;
      default:
        frame.insert(at, random_.byte());
        break;
    }
    return frame;
  }

  bytes aborted_frame() {
    bytes frame = encode(next_frame());
    frame.resize(1 + random_.below(frame.size() - 1));
    frame.push_back(frame_escape);
    frame.push_back(frame_flag);
    return frame;
  }

  // Bytes with a good check that are too short for a frame, have another version, or
  // are a frame after all.
  bytes checked_bytes() {
    bytes made = some_bytes(25);
    if (!made.empty()) {
      made[0] = static_cast<std::uint8_t>(random_.below(3));
    }
    const std::uint32_t crc = reference_crc(made);
    for (unsigned shift = 0; shift < 32; shift += 8) {
      made.push_back(static_cast<std::uint8_t>(crc >> shift));
    }
    return made;
  }

  // A frame with escapes that it does not need, at any place that allows one.
  bytes overescaped_frame() {
    bytes frame = {frame_flag};
    const std::uint32_t chances = 1 + random_.below(4);
    for (const std::uint8_t byte : encode_unstuffed(next_frame())) {
      const auto escaped = static_cast<std::uint8_t>(byte ^ escape_mask);
      const bool needed = byte == frame_flag || byte == frame_escape;
      if (needed || (escaped != frame_flag && random_.one_in(chances))) {
        frame.push_back(frame_escape);
        frame.push_back(escaped);
      } else {
        frame.push_back(byte);
      }
    }
    frame.push_back(frame_flag);
    return frame;
  }

  random_source& random_;
  std::uint32_t escape_chance_ = 0;  // one payload byte in so many needs an escape
  std::uint32_t sequence_ = 0;
  bytes stream_;
};

// What a reader makes of a stream.
struct result {
  std::vector<trace> traces;
  counts counted{};
  bool operator==(const result&) const = default;
};

std::ostream& operator<<(std::ostream& out, const result& value) {
  return out << testing::PrintToString(value.traces) << ", counted "
             << testing::PrintToString(value.counted);
}

result read_plainly(const bytes& stream) {
  reference_reader reader;
  for (const std::uint8_t byte : stream) {
    reader.read(byte);
  }
  return {reader.traces(), counters(reader.statistics())};
}

class decoder_run {
 public:
  decoder_run() {
    if (!decoder_.set_configuration(test_configuration)) {
      ADD_FAILURE() << "the tests' configuration was refused";
    }
  }

  void append(std::span<const std::uint8_t> piece) { decoder_.append(piece); }
  void parse() { decoder_.parse(); }
  void take() {
    const auto taken = take_all(decoder_);
    traces_.insert(traces_.end(), taken.begin(), taken.end());
  }
  result finish() {
    parse();
    take();
    return {std::move(traces_), counters(decoder_.statistics())};
  }

 private:
  decoder decoder_;
  std::vector<trace> traces_;
};

// Decodes in pieces of random sizes. Some pieces are not parsed at once, and traces are
// taken at the end or in between.
result decode_randomly(random_source& random, const bytes& stream) {
  decoder_run run;
  const std::size_t limit = stream.size() > 10000 ? 70000 : 1 + random.below(100);
  const bool takes_between = random.one_in(2);
  for (std::span<const std::uint8_t> rest = stream; !rest.empty();) {
    const auto piece = rest.first(std::min<std::size_t>(rest.size(), 1 + random.below(limit)));
    rest = rest.subspan(piece.size());
    run.append(piece);
    if (random.one_in(4)) {
      continue;
    }
    run.parse();
    if (takes_between) {
      run.take();
    }
  }
  return run.finish();
}

// Decodes in two pieces.
result decode_split(const bytes& stream, std::size_t at) {
  decoder_run run;
  run.append(std::span(stream).first(at));
  run.parse();
  run.append(std::span(stream).subspan(at));
  return run.finish();
}

class differential : public testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(seed, differential, testing::Range(0U, seeds));

TEST_P(differential, random_streams_give_the_results_of_the_reference_reader) {
  random_source random(GetParam());
  const unsigned long cases = cases_per_seed();
  std::uint64_t traces = 0;
  for (unsigned long i = 0; i < cases; ++i) {
    const bytes stream = stream_maker(random).make();
    const result wanted = read_plainly(stream);
    traces += wanted.traces.size();
    ASSERT_EQ(decode_split(stream, 0), wanted) << "case " << i << ", at once";
    ASSERT_EQ(decode_randomly(random, stream), wanted) << "case " << i << ", in pieces";
    if (stream.size() < 200 && random.one_in(50)) {
      for (std::size_t at = 1; at <= stream.size(); ++at) {
        ASSERT_EQ(decode_split(stream, at), wanted) << "case " << i << ", split at " << at;
      }
    }
  }
  EXPECT_GT(traces, cases);  // the streams are not mere noise
}

}  // namespace
}  // namespace open_decoder::test
