// tar_builder.h - ustar archives and compressed streams, sound and damaged.
//
// Every part of a header can be set to what a sane writer would never put there; that
// is why tests do not use the writer of the product.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test_support {

// One header block after POSIX.1-1988 (ustar). The setters leave the checksum as it was.
class tar_header {
 public:
  // A sound header in the form that GNU and POSIX writers use for the numbers
  // ("0000644", "00000000144").
  explicit tar_header(std::string_view name = "db.json", std::size_t size = 100,
                      char type_flag = '0');

  // Writes `bytes` at `offset` of the block.
  tar_header& set(std::size_t offset, std::string_view bytes);

  // Set one field and fill it up with NULs.
  tar_header& name(std::string_view text);
  tar_header& size(std::string_view text);
  tar_header& checksum(std::string_view text);
  tar_header& type(char flag);

  // The sum of the block's bytes, the checksum field taken as blanks, and its six octal
  // digits.
  std::uint32_t sum() const;
  std::string checksum_digits() const;

  // Writes the checksum in its usual form: six octal digits, NUL, blank.
  tar_header& seal();

  const std::string& block() const { return block_; }

 private:
  tar_header& field(std::size_t offset, std::size_t width, std::string_view text);

  std::string block_;
};

// `data`, filled up with NULs to whole blocks.
std::string tar_padded(std::string_view data);
// A header as it is, and the padded data behind it.
std::string tar_member(const tar_header& header, std::string_view data);
// A regular file.
std::string tar_file(std::string_view name, std::string_view data);
// A directory entry.
std::string tar_directory(std::string_view name);
// The two zero blocks that end an archive.
std::string tar_end();
// A whole archive of regular files.
std::string tar_archive(const std::vector<std::pair<std::string, std::string>>& files);

// RFC 1952, RFC 1950 and RFC 1951.
enum class wrapping { gzip, zlib, none };

// `bytes`, compressed. `level` is zlib's: 0 stores, 9 is the smallest, -1 the default.
std::string compress(std::string_view bytes, wrapping form = wrapping::gzip, int level = -1);

}  // namespace test_support
