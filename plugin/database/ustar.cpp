#include "plugin/database/ustar.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <utility>

namespace veltra {
namespace {

// A header block as it lies in the archive.
struct wire_header {
  std::array<char, 100> name;
  std::array<char, 8> mode;
  std::array<char, 8> uid;
  std::array<char, 8> gid;
  std::array<char, 12> size;
  std::array<char, 12> mtime;
  std::array<char, 8> chksum;
  char typeflag;
  std::array<char, 100> linkname;
  std::array<char, 6> magic;
  std::array<char, 2> version;
  std::array<char, 32> uname;
  std::array<char, 32> gname;
  std::array<char, 8> devmajor;
  std::array<char, 8> devminor;
  std::array<char, 155> prefix;
  std::array<char, 12> padding;
};
static_assert(sizeof(wire_header) == ustar_block_size);
static_assert(offsetof(wire_header, size) == 124);
static_assert(offsetof(wire_header, chksum) == 148);
static_assert(offsetof(wire_header, typeflag) == 156);
static_assert(offsetof(wire_header, magic) == 257);
static_assert(offsetof(wire_header, version) == 263);
static_assert(offsetof(wire_header, prefix) == 345);

constexpr char regular_file = '0';
constexpr char directory = '5';
constexpr std::uint32_t max_file_size = 0x7FFFFFFF;

// The largest number that takes one more octal digit within 32 bits.
constexpr std::uint32_t max_before_a_digit = 0x1FFFFFFF;

bool is_zero(ustar_block block) {
  return std::all_of(block.begin(), block.end(), [](char byte) { return byte == '\0'; });
}

bool is_nul_or_space(char byte) {
  return byte == '\0' || byte == ' ';
}

bool has_magic(const wire_header& header) {
  constexpr std::string_view magic = "ustar";
  return std::string_view(header.magic.data(), magic.size()) == magic &&
         is_nul_or_space(header.magic.back());
}

// Writers fill the two bytes with "00", with a space and a NUL, or with spaces.
bool has_version(const wire_header& header) {
  const auto [first, second] = header.version;
  return (first == ' ' || first == '0') && (second == '0' || is_nul_or_space(second));
}

// Reads the number that starts at the field's first byte. A terminator must
// follow it within the field, so the last place cannot hold a digit.
std::optional<std::uint32_t> parse_octal(std::span<const char> field) {
  std::uint32_t value = 0;
  for (std::size_t place = 0; place < field.size(); ++place) {
    const char byte = field[place];
    if (byte < '0' || byte > '7') {
      return place > 0 && is_nul_or_space(byte) ? std::optional(value) : std::nullopt;
    }
    if (value > max_before_a_digit) {
      return std::nullopt;
    }
    value = value * 8 + static_cast<std::uint32_t>(byte - '0');
  }
  return std::nullopt;
}

ustar_header failure(std::string_view error) {
  ustar_header result;
  result.error = error;
  return result;
}

}  // namespace

ustar_header parse_ustar_header(ustar_block block) {
  if (is_zero(block)) {
    return {};
  }
  wire_header header;
  std::memcpy(&header, block.data(), sizeof(header));

  if (!has_magic(header)) {
    return failure("not a ustar archive");
  }
  if (!has_version(header)) {
    return failure("invalid ustar version");
  }
  const auto checksum = parse_octal(header.chksum);
  if (!checksum) {
    return failure("corrupt chksum field");
  }
  if (*checksum != ustar_checksum(block)) {
    return failure("checksum mismatch");
  }
  if (header.name.back() != '\0' || header.prefix.front() != '\0') {
    return failure("file name too long");
  }

  std::uint32_t size = 0;
  if (header.typeflag == regular_file) {
    const auto field = parse_octal(header.size);
    if (!field) {
      return failure("corrupt file size field");
    }
    if (*field > max_file_size) {
      return failure("file too large");
    }
    size = *field;
  } else if (header.typeflag != directory) {
    return failure("unimplemented file type");
  }

  ustar_header result;
  result.name = normalize_member_name(header.name.data());
  result.type_flag = header.typeflag;
  result.size = size;
  return result;
}

std::uint32_t ustar_checksum(ustar_block block) {
  constexpr std::size_t field_begin = offsetof(wire_header, chksum);
  constexpr std::size_t field_end = field_begin + sizeof(wire_header::chksum);
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < block.size(); ++i) {
    const bool in_field = i >= field_begin && i < field_end;
    sum += static_cast<unsigned char>(in_field ? ' ' : block[i]);
  }
  return sum;
}

std::string normalize_member_name(std::string_view name) {
  while (name.starts_with('/') || name.starts_with("./") || name.starts_with("../")) {
    name.remove_prefix(name.find('/') + 1);
  }
  return std::string(name.empty() || name == ".." ? "." : name);
}

void visit_ustar_members(std::uint64_t size, const archive_source& read,
                         std::size_t max_member_size,
                         const std::function<void(std::string data)>& visit) {
  std::array<char, ustar_block_size> block;
  while (size >= block.size()) {
    read(block);
    size -= block.size();
    const ustar_header header = parse_ustar_header(block);
    // An end block, a directory and an empty file all have the size 0.
    if (!header.error.empty() || header.size == 0 || header.size > size) return;
    const bool is_too_large = header.size > max_member_size;
    std::string data(is_too_large ? max_member_size + 1 : header.size, '\0');
    read(data);
    visit(std::move(data));
    if (is_too_large) return;
    size -= header.size;
    const std::size_t padding = (block.size() - header.size % block.size()) % block.size();
    if (padding > size) return;
    read(std::span(block).first(padding));
    size -= padding;
  }
}

}  // namespace veltra
