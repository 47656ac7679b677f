// gzip.h - inflating a compressed trace database.
//
// Takes gzip (RFC 1952) and zlib (RFC 1950) streams, distinguished by their
// headers. All functions may run on any thread; they share no state.
#pragma once

#include <cstddef>
#include <cstdint>
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

// How far the stream at the start of an input goes.
struct gzip_extent {
  std::size_t size = 0;   // bytes of the input up to its end
  bool is_whole = false;  // false if it breaks off or is corrupt
};

// Inflates the stream and drops its bytes, in constant memory. Throws std::runtime_error
// "inflate init failed".
gzip_extent measure_gzip(std::string_view input);

// Inflates `input` within `decompression_limit`. Returns true with the bytes in
// `output`, or false, leaving `output` as it was, when decompress_gzip() throws
// std::runtime_error. Any other exception (no memory) passes through.
bool try_decompress_gzip(std::string_view input, std::string& output);

}  // namespace veltra
