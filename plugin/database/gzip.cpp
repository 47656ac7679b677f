#include "plugin/database/gzip.h"

#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace veltra {

namespace {

// A window of 2^15 bytes, and 32 to have gzip and zlib headers recognised.
constexpr int window_bits = 15 + 32;

// The interface this code is written for. zlib compares the first digit only.
constexpr const char* interface_version = "1.2.12";

// The whole input and a whole step of decompress_gzip() are handed over in one call.
static_assert(sizeof(uInt) >= sizeof(std::uint32_t));

}  // namespace

// zlib's state, released on every way out.
class inflate_stream {
 public:
  inflate_stream() {
    if (inflateInit2_(&stream_, window_bits, interface_version,
                      static_cast<int>(sizeof(z_stream))) != Z_OK) {
      throw std::runtime_error("inflate init failed");
    }
  }
  inflate_stream(const inflate_stream&) = delete;
  inflate_stream& operator=(const inflate_stream&) = delete;
  ~inflate_stream() { inflateEnd(&stream_); }

  void set_input(std::string_view input) {
    stream_.next_in = reinterpret_cast<const Bytef*>(input.data());
    stream_.avail_in = static_cast<uInt>(input.size());
  }

  // Inflates into `space` bytes at `output` and returns how many of them are
  // left. None left means that there may be more to come.
  std::size_t inflate_into(char* output, std::size_t space) {
    stream_.next_out = reinterpret_cast<Bytef*>(output);
    stream_.avail_out = static_cast<uInt>(space);
    const int result = inflate(&stream_, Z_FINISH);
    // Z_BUF_ERROR is either a full buffer or the end of a truncated input.
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
      throw std::runtime_error(stream_.msg != nullptr ? stream_.msg : "data cannot be inflated");
    }
    return stream_.avail_out;
  }

  // Inflates one buffer more and drops it. Returns zlib's result.
  int skip() {
    std::array<char, 65536> dropped;
    stream_.next_out = reinterpret_cast<Bytef*>(dropped.data());
    stream_.avail_out = static_cast<uInt>(dropped.size());
    return inflate(&stream_, Z_NO_FLUSH);
  }

  std::size_t unread() const { return stream_.avail_in; }

 private:
  z_stream stream_{};
};

namespace {

// zlib judges a header by pairs of bytes and asks for more when it has half a
// pair. A file that ends there is a truncated stream only if that half can
// begin one.
bool may_begin_a_stream(std::string_view input) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(input[i]); };
  constexpr unsigned gzip_id1 = 0x1F;
  constexpr unsigned gzip_id2 = 0x8B;
  constexpr unsigned method_deflate = 8;
  constexpr unsigned max_window = 7;
  switch (input.size()) {
    case 0:
      return false;
    case 1:
      return byte(0) == gzip_id1 ||
             ((byte(0) & 0x0F) == method_deflate && (byte(0) >> 4) <= max_window);
    case 3:
      return byte(0) != gzip_id1 || byte(1) != gzip_id2 || byte(2) == method_deflate;
    default:
      return true;
  }
}

}  // namespace

class gzip_reader::state {
 public:
  state(std::uint32_t limit, std::string_view input) : limit_(limit), step_(2 * input.size()) {
    if (input.size() > limit / 2) {
      throw std::runtime_error("size may use more memory than intended when decompressing");
    }
    if (!may_begin_a_stream(input)) {
      throw std::runtime_error("incorrect header check");
    }
    stream_.set_input(input);
    require_room();
  }

  std::size_t read(std::span<char> to) {
    const std::size_t count = to.size() - stream_.inflate_into(to.data(), to.size());
    produced_ += count;
    require_room();
    return count;
  }

 private:
  // The step that holds the next byte has to be within the limit as a whole.
  void require_room() const {
    if ((produced_ / step_ + 1) * step_ > limit_) {
      throw std::runtime_error(
          "size of output string will use more memory then intended when decompressing");
    }
  }

  inflate_stream stream_;
  const std::uint64_t limit_;
  const std::uint64_t step_;
  std::uint64_t produced_ = 0;
};

gzip_reader::gzip_reader(std::uint32_t limit, std::string_view input)
    : state_(std::make_unique<state>(limit, input)) {}

gzip_reader::~gzip_reader() = default;

std::size_t gzip_reader::read(std::span<char> to) {
  return state_->read(to);
}

std::string decompress_gzip(std::uint32_t limit, std::string_view input) {
  gzip_reader reader(limit, input);
  const std::size_t step = 2 * input.size();
  std::string output;
  std::size_t produced = 0;
  std::size_t count = step;
  while (count == step) {
    // The string's capacity grows geometrically, so equal steps do not copy the
    // bytes over and over.
    output.resize(produced + step);
    count = reader.read(std::span(output).subspan(produced));
    produced += count;
  }
  output.resize(produced);
  return output;
}

gzip_extent measure_gzip(std::string_view input) {
  constexpr std::size_t max_step = std::numeric_limits<uInt>::max();
  inflate_stream stream;
  gzip_extent extent;
  int result = Z_OK;
  while (result == Z_OK && extent.size < input.size()) {
    const std::string_view step = input.substr(extent.size, max_step);
    stream.set_input(step);
    // A full buffer may hide more output of input that is used up.
    do {
      result = stream.skip();
    } while (result == Z_OK);
    extent.size += step.size() - stream.unread();
    if (result == Z_BUF_ERROR && stream.unread() == 0) result = Z_OK;
  }
  extent.is_whole = result == Z_STREAM_END;
  return extent;
}

}  // namespace veltra
