#include "host/source/file_kind.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "platform/file.h"

namespace veltra::host {

namespace {

using namespace std::string_view_literals;

struct known_kind {
  std::size_t offset;
  std::string_view bytes;
  std::string_view name;
};

// Those of pcapng have the byte-order magic behind the block's type and length.
constexpr known_kind known_kinds[] = {
    {8, "\x4d\x3c\x2b\x1a"sv, "a pcapng capture"},
    {8, "\x1a\x2b\x3c\x4d"sv, "a pcapng capture"},
    {0, "\xd4\xc3\xb2\xa1\x02\0\x04\0"sv, "a pcap capture"},
    {0, "\x4d\x3c\xb2\xa1\x02\0\x04\0"sv, "a pcap capture"},
    {0, "\xa1\xb2\xc3\xd4\0\x02\0\x04"sv, "a pcap capture"},
    {0, "\xa1\xb2\x3c\x4d\0\x02\0\x04"sv, "a pcap capture"},
    {257, "ustar"sv, "a tar archive"},
    {0, "PK\x03\x04"sv, "a zip archive"},
    {0, "7z\xbc\xaf\x27\x1c"sv, "a 7-Zip archive"},
    {0,
     "\xfd"
     "7zXZ\0"sv,
     "an xz archive"},
    {4, "1AY&SY"sv, "a bzip2 archive"},
    {0, "\x1f\x8b\x08"sv, "a gzip file whose name does not end in .gz"},
    {0, "\x28\xb5\x2f\xfd"sv, "a zstd file whose name does not end in .zst"},
};

constexpr std::string_view pcapng_start = "\n\r\r\n";

bool is_text(unsigned char byte) {
  return byte >= 0x20 || byte == '\t' || byte == '\n' || byte == '\r';
}

}  // namespace

std::string foreign_kind(std::string_view first_bytes) {
  for (const known_kind& each : known_kinds) {
    if (first_bytes.size() < each.offset + each.bytes.size() ||
        first_bytes.substr(each.offset, each.bytes.size()) != each.bytes) {
      continue;
    }
    if (each.offset == 8 && !first_bytes.starts_with(pcapng_start)) continue;
    return std::string(each.name);
  }
  return {};
}

std::string doubtful_kind(std::string_view first_bytes) {
  const bool are_text = !first_bytes.empty() && first_bytes.find('\x7f') == first_bytes.npos &&
                        std::all_of(first_bytes.begin(), first_bytes.end(), is_text);
  return are_text ? "text" : "";
}

std::string first_bytes_of(const std::string& file) {
  const std::filesystem::path path = platform::path_from_utf8(file);
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return {};
  const platform::owned_file opened(platform::open_file(path, platform::open_mode::read));
  if (!opened) return {};
  std::string bytes(file_kind_bytes, '\0');
  bytes.resize(platform::read_bytes(opened.get(), bytes.data(), bytes.size()));
  return bytes;
}

}  // namespace veltra::host
