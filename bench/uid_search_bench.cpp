// uid_search_bench.cpp - what finding the database's UUID costs when the marker
// comes late: 1, 4 and 16 MiB into the stream, read in chunks of 1024 bytes.
//
// Every row goes through 16 MiB and holds all of it: 16 streams of 1 MiB, 4 of 4 or
// one of 16. The counter "to_find" is the time until one marker is found.
//
//   searches     the search as it is. Every byte is looked at once.
//   collects     the same without searching: the stream is only kept. What it takes
//                longer for one large stream than for many small ones is the cost
//                of fresh memory and of leaving the caches, not of the search; the
//                search is the difference between the two rows.
//   starts_over  a search that begins again with every chunk. Its time grows with the
//                square of the position, so that it is shown for 1 MiB only.
//
// Content 0 is random bytes. In content 1 every 64th byte is the marker's first
// letter and every chunk holds the marker except for its last byte.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/database/uid_search.h"
#include "tests/support/uid_search_reference.h"

namespace {

constexpr std::size_t chunk_size = 1024;
constexpr std::size_t mib = std::size_t{1} << 20;
constexpr std::string_view marker = "UID %s=0123abcd-4567-89ef-0a1b-23456789cdef??";

enum content : std::int64_t { noise, near_misses };

std::string stream_with_marker_at(std::size_t position, content kind) {
  std::mt19937 random(1);
  std::string stream(position, '\0');
  for (char& byte : stream) byte = static_cast<char>(random());
  if (kind == near_misses) {
    for (std::size_t i = 0; i + 64 < position; i += 64) {
      const std::string_view begun = i % chunk_size == 0 ? "UID %d" : "U";
      stream.replace(i, begun.size(), begun);
    }
  }
  stream += marker;
  return stream;
}

// A host listens, as hosts do.
void count_message(kovax_source* /*source*/, void* user_data, std::int32_t /*level*/,
                   const char* /*message*/) {
  ++*static_cast<std::uint64_t*>(user_data);
}

// What every search has to do at least: keep the stream.
class collector {
 public:
  std::optional<std::string> search(std::string_view new_bytes, const veltra::host_log& /*log*/) {
    collected_.append(new_bytes);
    return new_bytes.ends_with(marker) ? std::optional<std::string>(marker) : std::nullopt;
  }

 private:
  std::string collected_;
};

template <typename Search>
void find_markers(benchmark::State& state, std::size_t streams) {
  const std::string stream = stream_with_marker_at(static_cast<std::size_t>(state.range(0)) * mib,
                                                   static_cast<content>(state.range(1)));
  std::uint64_t messages = 0;
  for ([[maybe_unused]] auto unused : state) {
    std::vector<Search> searches(streams);
    for (Search& search : searches) {
      bool found = false;
      for (std::size_t taken = 0; !found && taken < stream.size(); taken += chunk_size) {
        const auto chunk = std::string_view(stream).substr(taken, chunk_size);
        found = search.search(chunk, {count_message, &messages}).has_value();
      }
      if (!found) state.SkipWithError("the marker was not found");
    }
  }
  benchmark::DoNotOptimize(messages);
  state.counters["to_find"] = benchmark::Counter(
      static_cast<double>(static_cast<std::size_t>(state.iterations()) * streams),
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void searches(benchmark::State& state) {
  find_markers<veltra::uid_search>(state, 16 / static_cast<std::size_t>(state.range(0)));
}
void collects(benchmark::State& state) {
  find_markers<collector>(state, 16 / static_cast<std::size_t>(state.range(0)));
}
void starts_over(benchmark::State& state) {
  find_markers<test_support::uid_search_reference>(state, 1);
}

BENCHMARK(searches)
    ->ArgNames({"mib", "content"})
    ->ArgsProduct({{1, 4, 16}, {noise, near_misses}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(collects)
    ->ArgNames({"mib", "content"})
    ->ArgsProduct({{1, 4, 16}, {noise, near_misses}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(starts_over)
    ->ArgNames({"mib", "content"})
    ->ArgsProduct({{1}, {noise, near_misses}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
