// archive_builder.h - tar archives and compressed streams, made in memory.
//
// For tests of whatever reads a database archive. Every part of a header can be
// set to what a sane writer would never put there.
#pragma once

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace veltra::test {

inline constexpr std::size_t tar_block_size = 512;

// A ustar header block whose fields are written as bytes at their offsets.
class tar_header {
 public:
  // A good header of a regular file, in the form that GNU and POSIX writers use
  // for the numbers ("0000644", "00000000144").
  explicit tar_header(std::string_view name = "database.json", std::uint64_t size = 100)
      : bytes_(tar_block_size, '\0') {
    put(0, name).put(100, "0000644").put(108, "0001750").put(116, "0001750");
    put(136, "14371573042").type('0').size(fmt::format("{:011o}", size));
    put(257, std::string_view("ustar\00000", 8)).put(265, "firmware").put(297, "firmware");
    put(329, "0000000").put(337, "0000000");
    seal();
  }

  // Writes `bytes` at `offset`; the checksum stays as it was.
  tar_header& put(std::size_t offset, std::string_view bytes) {
    if (offset > bytes_.size() || bytes.size() > bytes_.size() - offset) {
      throw std::out_of_range("a header field beyond its block");
    }
    std::copy(bytes.begin(), bytes.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
    return *this;
  }

  // Set one field, filled up with NULs. The checksum stays as it was.
  tar_header& name(std::string_view text) { return field(0, 100, text); }
  tar_header& size(std::string_view text) { return field(124, 12, text); }
  tar_header& checksum(std::string_view text) { return field(148, 8, text); }
  tar_header& type(char flag) { return put(156, std::string_view(&flag, 1)); }

  // Writes the checksum that the block should have, as six digits, a NUL and a
  // space, which is the usual form.
  tar_header& seal() { return checksum(checksum_digits().append(std::string_view("\0 ", 2))); }

  // The six octal digits of the checksum that the block should have.
  std::string checksum_digits() const { return fmt::format("{:06o}", sum()); }

  // The checksum, computed apart from the code under test.
  std::uint32_t sum() const {
    std::string block = bytes_;
    block.replace(148, 8, 8, ' ');
    std::uint32_t result = 0;
    for (const char byte : block) {
      result += static_cast<unsigned char>(byte);
    }
    return result;
  }

  // The block, 512 bytes.
  const std::string& bytes() const { return bytes_; }

 private:
  tar_header& field(std::size_t offset, std::size_t width, std::string_view text) {
    return put(offset, std::string(width, '\0')).put(offset, text.substr(0, width));
  }

  std::string bytes_;
};

// `data`, filled up with NULs to whole blocks.
inline std::string tar_padded(std::string_view data) {
  const std::size_t blocks = (data.size() + tar_block_size - 1) / tar_block_size;
  std::string result(data);
  result.resize(blocks * tar_block_size, '\0');
  return result;
}

// A regular file: its header block and its padded data.
inline std::string tar_member(std::string_view name, std::string_view data) {
  return tar_header(name, data.size()).bytes() + tar_padded(data);
}

// The two blocks of zeros that writers put at an archive's end.
inline std::string tar_end() {
  return std::string(2 * tar_block_size, '\0');
}

// How compressed() wraps its stream.
enum class wrapping { gzip, zlib, none };

// `data`, compressed. `level` is zlib's: 0 stores, 9 is the smallest.
inline std::string compressed(std::string_view data, wrapping form = wrapping::gzip,
                              int level = Z_DEFAULT_COMPRESSION) {
  constexpr int window = 15;
  constexpr int plus_gzip = 16;
  constexpr int memory_level = 8;
  const int bits = form == wrapping::gzip   ? window + plus_gzip
                   : form == wrapping::zlib ? window
                                            : -window;
  z_stream stream{};
  if (deflateInit2(&stream, level, Z_DEFLATED, bits, memory_level, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("deflate init failed");
  }
  std::string output(deflateBound(&stream, static_cast<uLong>(data.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  const int result = deflate(&stream, Z_FINISH);
  output.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) {
    throw std::runtime_error("deflate failed");
  }
  return output;
}

}  // namespace veltra::test
