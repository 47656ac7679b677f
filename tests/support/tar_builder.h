// tar_builder.h - ustar archives and gzip streams, sound and damaged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test_support {

// One header block after POSIX.1-1988 (ustar) whose fields can be set to
// anything before its checksum is written.
class tar_header {
 public:
  explicit tar_header(std::string_view name = "db.json", std::size_t size = 0,
                      char type_flag = '0');

  // Writes `bytes` at `offset` of the block.
  tar_header& set(std::size_t offset, std::string_view bytes);
  // The sum of the block's bytes, the checksum field taken as blanks.
  std::uint32_t sum() const;
  // Writes the checksum in its usual form: six octal digits, NUL, blank.
  tar_header& seal();
  const std::string& block() const { return block_; }

 private:
  std::string block_;
};

// A header as it stands, and the data behind it, padded to whole blocks.
std::string tar_member(const tar_header& header, std::string_view data);
// A regular file.
std::string tar_file(std::string_view name, std::string_view data);
// A directory entry.
std::string tar_directory(std::string_view name);
// The two zero blocks that end an archive.
std::string tar_end();
// A whole archive of regular files.
std::string tar_archive(const std::vector<std::pair<std::string, std::string>>& files);

// The two wrappings of RFC 1950 and RFC 1952.
enum class deflate_wrapping { gzip, zlib };
std::string compress(std::string_view bytes, deflate_wrapping wrapping = deflate_wrapping::gzip);

}  // namespace test_support
