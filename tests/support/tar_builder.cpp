#include "tests/support/tar_builder.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace test_support {

namespace {

constexpr std::size_t block_size = 512;
constexpr std::size_t checksum_offset = 148;
constexpr std::size_t checksum_size = 8;

}  // namespace

tar_header::tar_header(std::string_view name, std::size_t size, char type_flag)
    : block_(block_size, '\0') {
  set(0, name);
  set(100, "0000644");
  set(108, "0000000");
  set(116, "0000000");
  set(124, fmt::format("{:011o}", size));
  set(136, "00000000000");
  set(156, std::string(1, type_flag));
  set(257, std::string("ustar\0", 6) + "00");
  seal();
}

tar_header& tar_header::set(std::size_t offset, std::string_view bytes) {
  if (offset + bytes.size() > block_size) throw std::out_of_range("tar header field");
  std::copy(bytes.begin(), bytes.end(), block_.begin() + static_cast<std::ptrdiff_t>(offset));
  return *this;
}

std::uint32_t tar_header::sum() const {
  std::uint32_t sum = 0;
  for (std::size_t index = 0; index < block_size; ++index) {
    const bool in_field = index >= checksum_offset && index < checksum_offset + checksum_size;
    sum += in_field ? 0x20U : static_cast<unsigned char>(block_[index]);
  }
  return sum;
}

tar_header& tar_header::seal() {
  return set(checksum_offset, fmt::format("{:06o}", sum()) + std::string("\0 ", 2));
}

std::string tar_member(const tar_header& header, std::string_view data) {
  std::string bytes = header.block();
  bytes += data;
  bytes.resize((bytes.size() + block_size - 1) / block_size * block_size);
  return bytes;
}

std::string tar_file(std::string_view name, std::string_view data) {
  return tar_member(tar_header(name, data.size()), data);
}

std::string tar_directory(std::string_view name) {
  return tar_header(name, 0, '5').block();
}

std::string tar_end() {
  return std::string(2 * block_size, '\0');
}

std::string tar_archive(const std::vector<std::pair<std::string, std::string>>& files) {
  std::string bytes;
  for (const auto& [name, data] : files) bytes += tar_file(name, data);
  return bytes + tar_end();
}

std::string compress(std::string_view bytes, deflate_wrapping wrapping) {
  z_stream stream = {};
  const int window_bits = wrapping == deflate_wrapping::gzip ? 15 + 16 : 15;
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, window_bits, 8, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::runtime_error("deflateInit2 failed");
  }
  const std::string input(bytes);
  std::string output(deflateBound(&stream, static_cast<uLong>(input.size())), '\0');
  stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(input.data()));
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  const int result = deflate(&stream, Z_FINISH);
  output.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("deflate failed");
  return output;
}

}  // namespace test_support
