#include "host/simulate/gzip.h"

#include <zlib.h>

#include <cstddef>
#include <stdexcept>
#include <vector>

#include "implementation/contract.h"

namespace veltra::host {

namespace {

constexpr std::size_t max_input = 0x7FFFFFFF;
constexpr int level = 9;
constexpr int window_bits = 15 + 16;  // the largest window, in a gzip wrapper
constexpr int memory_level = 8;
constexpr int unknown_system = 255;  // RFC 1952, section 2.3.1, OS

// A deflate stream that is ended on every path.
class deflate_stream {
 public:
  deflate_stream() {
    if (deflateInit2(&stream_, level, Z_DEFLATED, window_bits, memory_level, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
      throw std::runtime_error("zlib cannot start to compress");
    }
  }
  deflate_stream(const deflate_stream&) = delete;
  deflate_stream& operator=(const deflate_stream&) = delete;
  ~deflate_stream() { deflateEnd(&stream_); }

  z_stream* get() noexcept { return &stream_; }

 private:
  z_stream stream_{};
};

}  // namespace

std::string gzip(std::string_view bytes) {
  KOVAX_CONTRACT(bytes.size() <= max_input);
  deflate_stream stream;
  gz_header header{};
  header.os = unknown_system;
  std::vector<Bytef> input(bytes.begin(), bytes.end());  // zlib's input is not const
  std::string result(deflateBound(stream.get(), static_cast<uLong>(bytes.size())), '\0');

  stream.get()->next_in = input.data();
  stream.get()->avail_in = static_cast<uInt>(input.size());
  stream.get()->next_out = reinterpret_cast<Bytef*>(result.data());
  stream.get()->avail_out = static_cast<uInt>(result.size());
  if (deflateSetHeader(stream.get(), &header) != Z_OK ||
      deflate(stream.get(), Z_FINISH) != Z_STREAM_END) {
    throw std::runtime_error("zlib cannot compress");
  }
  result.resize(stream.get()->total_out);
  return result;
}

}  // namespace veltra::host
