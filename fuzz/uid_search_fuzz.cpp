// The UUID search over an arbitrary stream in arbitrary chunks: after every chunk
// its result and its messages are those of a search that starts over.
//
// Input: the first byte is the size of the chunks (0: each takes its size from
// its own first byte), the rest the stream.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "plugin/database/uid_search.h"
#include "tests/support/recorded_log.h"
#include "tests/support/uid_search_reference.h"

namespace {

// Starting over is quadratic; more bytes would only be slow.
constexpr std::size_t max_stream_size = 4096;

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's own name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t fixed_size = data[0];
  const auto stream =
      std::string_view(reinterpret_cast<const char*>(data), size).substr(1, max_stream_size);
  veltra::uid_search search;
  test_support::uid_search_reference reference;
  std::size_t taken = 0;
  while (taken < stream.size()) {
    const std::size_t chunk_size =
        fixed_size != 0 ? fixed_size : 1 + static_cast<std::uint8_t>(stream[taken]);
    const std::string_view chunk = stream.substr(taken, chunk_size);
    taken += chunk.size();
    test_support::recorded_log log;
    test_support::recorded_log expected_log;
    const auto found = search.search(chunk, log.host_log());
    require(found == reference.search(chunk, expected_log.host_log()));
    require(log.lines() == expected_log.lines());
    require(search.cached_data() == stream.substr(0, taken));
  }
  return 0;
}
