// ustar.h - the little of the tar format that a database archive needs.
//
// Reads the ustar interchange format (POSIX.1, pax utility) and the older form
// of its magic that ends in a space. Members are regular files below 2 GiB with
// names of up to 99 bytes; every other kind of entry is an error. All functions
// may run on any thread; they share no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace veltra {

// Archives are made of blocks of this many bytes.
inline constexpr std::size_t ustar_block_size = 512;

using ustar_block = std::span<const char, ustar_block_size>;

// What a header block says.
struct ustar_header {
  // Static string: why the header is invalid, or empty. The
  // other fields mean nothing when there is an error.
  std::string_view error;

  // The member's name after normalize_member_name(); empty for an end block.
  std::string name;

  // '0' for a regular file, '5' for a directory, -1 for an end block.
  std::int32_t type_flag = -1;

  // Bytes of data that follow the block, at most 0x7FFFFFFF. 0 for a directory
  // and for an end block.
  std::uint32_t size = 0;
};

// Reads a header block, which may hold anything. The first of these that applies
// is the error:
// - "not a ustar archive": no magic in either form
// - "invalid ustar version"
// - "corrupt chksum field": not one to seven octal digits, from the field's
//   first byte on, and a NUL or a space
// - "checksum mismatch"
// - "file name too long": more than 99 bytes, or split over the prefix field
// - "unimplemented file type": neither a regular file nor a directory
// - "corrupt file size field": not one to eleven octal digits and a NUL or a
//   space, or a number that 32 bits do not hold
// - "file too large": above 0x7FFFFFFF bytes
// A block of zeros is the end of an archive and not an error. Owner, mode, times
// and links are not looked at.
ustar_header parse_ustar_header(ustar_block block);

// The sum of the block's bytes as a header's checksum counts them: unsigned, and
// spaces in place of the checksum field.
std::uint32_t ustar_checksum(ustar_block block);

// Returns `name`, of which a part is left out that would lead out of the folder
// it is unpacked in: "/", "./" and "../" at its start, in any number. "." stands
// for a name of which nothing or ".." is left. Inner and trailing ".." stay.
std::string normalize_member_name(std::string_view name);

// Gives the next bytes of an archive; never asked for more than there are.
using archive_source = std::function<void(std::span<char> to)>;

// Gives the data of each member of an archive of `size` bytes to `visit`, in archive order.
// Of a member of more than `max_member_size` bytes it has one byte more than that, and no
// member follows.
//
// The walk ends without a word at an end block, at a header that is in error, at
// a directory or an empty file, at a member that the archive does not hold whole
// and where less than a block is left. The last member need not be padded. An
// exception out of `read` or `visit` ends the walk and passes through.
void visit_ustar_members(std::uint64_t size, const archive_source& read,
                         std::size_t max_member_size,
                         const std::function<void(std::string data)>& visit);

}  // namespace veltra
