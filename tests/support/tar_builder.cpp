#include "tests/support/tar_builder.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace test_support {

namespace {

constexpr std::size_t block_size = 512;

}  // namespace

tar_header::tar_header(std::string_view name, std::size_t size, char type_flag)
    : block_(block_size, '\0') {
  set(0, name).set(100, "0000644").set(108, "0001750").set(116, "0001750");
  this->size(fmt::format("{:011o}", size)).set(136, "14371573042").type(type_flag);
  set(257, std::string_view("ustar\00000", 8)).set(265, "firmware").set(297, "firmware");
  set(329, "0000000").set(337, "0000000");
  seal();
}

tar_header& tar_header::set(std::size_t offset, std::string_view bytes) {
  if (offset + bytes.size() > block_size) throw std::out_of_range("tar header field");
  std::copy(bytes.begin(), bytes.end(), block_.begin() + static_cast<std::ptrdiff_t>(offset));
  return *this;
}

tar_header& tar_header::field(std::size_t offset, std::size_t width, std::string_view text) {
  return set(offset, std::string(width, '\0')).set(offset, text.substr(0, width));
}

tar_header& tar_header::name(std::string_view text) {
  return field(0, 100, text);
}
tar_header& tar_header::size(std::string_view text) {
  return field(124, 12, text);
}
tar_header& tar_header::checksum(std::string_view text) {
  return field(148, 8, text);
}
tar_header& tar_header::type(char flag) {
  return set(156, std::string_view(&flag, 1));
}

std::uint32_t tar_header::sum() const {
  std::string block = block_;
  block.replace(148, 8, 8, ' ');
  std::uint32_t sum = 0;
  for (const char byte : block) sum += static_cast<unsigned char>(byte);
  return sum;
}

std::string tar_header::checksum_digits() const {
  return fmt::format("{:06o}", sum());
}

tar_header& tar_header::seal() {
  return checksum(checksum_digits() + std::string("\0 ", 2));
}

std::string tar_padded(std::string_view data) {
  std::string bytes(data);
  bytes.resize((bytes.size() + block_size - 1) / block_size * block_size);
  return bytes;
}

std::string tar_member(const tar_header& header, std::string_view data) {
  return header.block() + tar_padded(data);
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

std::string compress(std::string_view bytes, wrapping form, int level) {
  constexpr int window = 15;
  const int bits = form == wrapping::gzip ? window + 16 : form == wrapping::zlib ? window : -window;
  z_stream stream = {};
  if (deflateInit2(&stream, level, Z_DEFLATED, bits, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
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
