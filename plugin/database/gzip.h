// gzip.h - inflating a compressed trace database.
//
// Takes gzip (RFC 1952) and zlib (RFC 1950) streams, distinguished by their
// headers. All functions may run on any thread; they share no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace veltra {

// Bytes that decompressing a database may take. Half of it is the largest
// compressed file, all of it the largest buffer for what comes out.
inline constexpr std::uint32_t decompression_limit = 2'000'000'000;

// Inflates the stream at the start of `input` and returns its bytes. Whatever
// follows the stream is ignored. A stream that breaks off, be it within its
// header, gives the bytes that came before the break.
//
// The output buffer grows in steps of twice the input's size; neither a step nor
// the buffer may exceed `limit` bytes. Because a buffer that is exactly full
// might still grow, it must have room for one step more than the full steps
// that the output fills.
//
// Throws std::runtime_error with
// - "inflate init failed" when zlib cannot start,
// - "size may use more memory than intended when decompressing" when `input` is
//   larger than half of `limit`,
// - "size of output string will use more memory then intended when
//   decompressing" when the buffer would outgrow `limit`,
// - zlib's own message, or a text in its place, when `input` is empty, is no
//   stream of either kind or is corrupt.
std::string decompress_gzip(std::uint32_t limit, std::string_view input);

// The same piece by piece, in constant memory.
class gzip_reader {
 public:
  // `input` outlives the reader. Throws as decompress_gzip() does before it inflates.
  gzip_reader(std::uint32_t limit, std::string_view input);
  gzip_reader(const gzip_reader&) = delete;
  gzip_reader& operator=(const gzip_reader&) = delete;
  ~gzip_reader();

  // Inflates into `to` and returns the count of bytes, which is smaller than that of `to`
  // only at the end of the stream. Throws as decompress_gzip() does.
  std::size_t read(std::span<char> to);

 private:
  class state;
  std::unique_ptr<state> state_;
};

// How far the stream at the start of an input goes.
struct gzip_extent {
  std::size_t size = 0;   // bytes of the input up to its end
  bool is_whole = false;  // false if it breaks off or is corrupt
};

// Inflates the stream and drops its bytes, in constant memory. Throws std::runtime_error
// "inflate init failed".
gzip_extent measure_gzip(std::string_view input);

}  // namespace veltra
