// Walking the members of arbitrary bytes: members lie within the archive, one
// behind the other, each behind a header that is good. Done twice, the second
// time with the checksums made to fit, so that changes get past them.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "plugin/database/ustar.h"

namespace {

using veltra::ustar_block;
using veltra::ustar_block_size;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

ustar_block block_at(std::string_view archive, std::size_t offset) {
  require(offset <= archive.size() && archive.size() - offset >= ustar_block_size);
  return ustar_block(archive.data() + offset, ustar_block_size);
}

void walk(std::string_view archive) {
  std::size_t next_header = 0;
  std::size_t given = 0;
  const auto read = [&](std::span<char> to) {
    require(to.size() <= archive.size() - given);
    std::copy_n(archive.data() + given, to.size(), to.data());
    given += to.size();
  };
  veltra::visit_ustar_members(archive.size(), read, archive.size(), [&](std::string_view data) {
    const auto header = veltra::parse_ustar_header(block_at(archive, next_header));
    require(header.error.empty() && header.type_flag == '0' && header.size == data.size());
    require(!header.name.empty() && header.name.front() != '/' && !header.name.starts_with("../"));

    const std::size_t begin = next_header + ustar_block_size;
    require(!data.empty() && data.size() <= archive.size() - begin);
    require(data == archive.substr(begin, data.size()));
    next_header =
        begin + (data.size() + ustar_block_size - 1) / ustar_block_size * ustar_block_size;
  });
}

// Every block gets the checksum that it should have as a header.
void seal_blocks(std::string& archive) {
  constexpr std::size_t field_offset = 148;
  for (std::size_t block = 0; archive.size() - block >= ustar_block_size;
       block += ustar_block_size) {
    char digits[8] = {};
    std::snprintf(digits, sizeof(digits), "%06o",
                  static_cast<unsigned>(veltra::ustar_checksum(block_at(archive, block))));
    std::memcpy(archive.data() + block + field_offset, digits, sizeof(digits));
  }
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's own name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string archive(reinterpret_cast<const char*>(data), size);
  walk(archive);
  seal_blocks(archive);
  walk(archive);
  return 0;
}
