#include "host/simulate/archive_writer.h"

#include <fmt/format.h>
#include <zlib.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "implementation/contract.h"

namespace veltra::host {

namespace {

constexpr std::size_t block_size = 512;
constexpr std::size_t max_size = 0x7FFFFFFF;

// All numbers are octal digits and a NUL.
struct ustar_header {
  char name[100];
  char mode[8];
  char uid[8];
  char gid[8];
  char size[12];
  char mtime[12];
  char chksum[8];
  char typeflag;
  char linkname[100];
  char magic[6];
  char version[2];
  char uname[32];
  char gname[32];
  char devmajor[8];
  char devminor[8];
  char prefix[155];
  char unused[12];
};
static_assert(sizeof(ustar_header) == block_size);
static_assert(offsetof(ustar_header, chksum) == 148);
static_assert(offsetof(ustar_header, magic) == 257);
static_assert(offsetof(ustar_header, prefix) == 345);

template <std::size_t Size>
void put_octal(char (&field)[Size], std::size_t value) {
  fmt::format_to_n(field, Size - 1, "{:0{}o}", value, Size - 1);
}

// The sum of all bytes with the checksum itself counted as blanks, as six
// digits, a NUL and a blank.
void put_checksum(ustar_header& header) {
  std::memset(header.chksum, ' ', sizeof header.chksum);
  unsigned char bytes[block_size];
  std::memcpy(bytes, &header, block_size);
  unsigned sum = 0;
  for (const unsigned char byte : bytes) sum += byte;
  fmt::format_to_n(header.chksum, 6, "{:06o}", sum);
  header.chksum[6] = '\0';
}

constexpr int compression_level = 9;
constexpr int window_bits = 15 + 16;  // the largest window, in a gzip wrapper
constexpr int memory_level = 8;
constexpr int unknown_system = 255;  // RFC 1952, section 2.3.1, OS

// A deflate stream that is ended on every path.
class deflate_stream {
 public:
  deflate_stream() {
    if (deflateInit2(&stream_, compression_level, Z_DEFLATED, window_bits, memory_level,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
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

std::string ustar_archive(std::string_view name, std::string_view content) {
  KOVAX_CONTRACT(!name.empty() && name.size() < sizeof ustar_header::name);
  KOVAX_CONTRACT(content.size() <= max_size);

  ustar_header header{};
  std::memcpy(header.name, name.data(), name.size());
  put_octal(header.mode, 0644);
  put_octal(header.uid, 0);
  put_octal(header.gid, 0);
  put_octal(header.size, content.size());
  put_octal(header.mtime, 0);
  header.typeflag = '0';
  std::memcpy(header.magic, "ustar", sizeof header.magic);
  std::memset(header.version, '0', sizeof header.version);
  put_octal(header.devmajor, 0);
  put_octal(header.devminor, 0);
  put_checksum(header);

  const std::size_t padding = (block_size - content.size() % block_size) % block_size;
  std::string archive(block_size, '\0');
  std::memcpy(archive.data(), &header, block_size);
  archive.append(content);
  // Two blocks of zeros end an archive.
  archive.append(padding + 2 * block_size, '\0');
  return archive;
}

std::string gzip(std::string_view bytes) {
  KOVAX_CONTRACT(bytes.size() <= max_size);
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
