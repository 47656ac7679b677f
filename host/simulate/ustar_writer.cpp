#include "host/simulate/ustar_writer.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstring>

#include "implementation/contract.h"

namespace veltra::host {

namespace {

constexpr std::size_t block_size = 512;
constexpr std::size_t max_content = 0x7FFFFFFF;

// All numbers are octal digits with a NUL behind them.
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

}  // namespace

std::string ustar_archive(std::string_view name, std::string_view content) {
  KOVAX_CONTRACT(!name.empty() && name.size() < sizeof ustar_header::name);
  KOVAX_CONTRACT(content.size() <= max_content);

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

}  // namespace veltra::host
