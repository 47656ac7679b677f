#include "host/database/archive_lint.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

#include "plugin/database/gzip.h"
#include "plugin/database/ustar.h"

namespace veltra::host {

namespace {

// Fields of a header block (POSIX.1, pax utility).
constexpr std::size_t size_offset = 124;
constexpr std::size_t size_length = 12;
constexpr std::size_t name_length = 100;
constexpr std::size_t type_offset = 156;

std::string_view field(std::string_view block, std::size_t offset, std::size_t length) {
  const std::string_view text = block.substr(offset, length);
  return text.substr(0, text.find('\0'));
}

std::optional<std::size_t> size_of(std::string_view block) {
  std::string_view digits = field(block, size_offset, size_length);
  digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
  std::size_t size = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), size, 8);
  return error == std::errc() && end != digits.data() ? std::optional(size) : std::nullopt;
}

const char* describe_type(char type) {
  switch (type) {
    case '\0':
      return "a file in the format before POSIX";
    case '1':
      return "a hard link";
    case '2':
      return "a symbolic link";
    case '3':
    case '4':
      return "a device";
    case '5':
      return "a folder; archive the files without it";
    case '6':
      return "a named pipe";
    case 'g':
    case 'x':
      return "a pax header; write the archive with --format=ustar";
    case 'K':
    case 'L':
      return "a name of more than 99 bytes";
    default:
      return "an entry of an unknown type";
  }
}

// In constant memory. Throws as decompress_gzip() does.
bool inflates_within(std::uint64_t limit, std::string_view bytes) {
  gzip_reader reader(decompression_limit, bytes);
  std::array<char, 65536> piece;
  std::uint64_t size = 0;
  std::size_t count = piece.size();
  while (count == piece.size() && size <= limit) size += count = reader.read(piece);
  return size <= limit;
}

class archive_walk {
 public:
  explicit archive_walk(std::string_view archive) : rest_(archive) {}

  archive_contents run() && {
    while (!is_ended_ && rest_.size() >= ustar_block_size) take_entry();
    if (!is_ended_ && !rest_.empty()) {
      add(severity::fault, {}, "the archive is cut off in an entry's header");
    } else if (!is_ended_) {
      add(severity::warning, {}, "there is no end block; the archive may be cut off");
    } else if (rest_.find_first_not_of('\0') != std::string_view::npos) {
      add(severity::warning, {}, "bytes behind the end block are not read");
    }
    if (contents_.members.empty()) add(severity::fault, {}, "there is no file in the archive");
    return std::move(contents_);
  }

 private:
  void add(severity severity, std::string member, std::string text) {
    contents_.findings.push_back({severity, std::move(member), {}, std::move(text)});
  }

  // The plug-in's reader ends at the first of these. What is behind them is checked as well.
  void end_reading(std::string member, std::string_view what) {
    add(severity::fault, std::move(member),
        fmt::format("{}{}", what,
                    is_read_ ? "; the reader ends here, and what follows is not read" : ""));
    is_read_ = false;
  }

  void take_entry() {
    const std::string_view block = rest_.substr(0, ustar_block_size);
    const ustar_header header = parse_ustar_header(ustar_block(block.data(), ustar_block_size));
    rest_.remove_prefix(ustar_block_size);
    if (header.error.empty() && header.type_flag < 0) {
      is_ended_ = true;
      return;
    }
    if (!header.error.empty()) return pass_over(block, header.error);
    if (header.size == 0) {
      return end_reading(header.name,
                         header.type_flag == '5' ? describe_type('5') : "an empty file");
    }
    if (header.size > rest_.size()) {
      add(severity::fault, header.name,
          fmt::format("cut off: {} of {} bytes are there", rest_.size(), header.size));
      rest_ = {};
      is_ended_ = true;
      return;
    }
    contents_.members.push_back({header.name, std::string(rest_.substr(0, header.size)), is_read_});
    skip(header.size);
  }

  void pass_over(std::string_view block, std::string_view error) {
    const std::string name = normalize_member_name(field(block, 0, name_length));
    if (error == "unimplemented file type") {
      end_reading(name, describe_type(block[type_offset]));
    } else if (error == "not a ustar archive" && contents_.members.empty() && is_read_) {
      end_reading({}, "not a ustar archive");
      rest_ = {};
      is_ended_ = true;
      return;
    } else {
      end_reading(name, fmt::format("the header is not valid: {}", error));
    }
    const auto size = size_of(block);
    if (!size || *size > rest_.size()) {
      is_ended_ = true;
      rest_ = {};
    } else {
      skip(*size);
    }
  }

  void skip(std::size_t size) {
    const std::size_t blocks = (size + ustar_block_size - 1) / ustar_block_size;
    rest_.remove_prefix(std::min(blocks * ustar_block_size, rest_.size()));
  }

  std::string_view rest_;
  archive_contents contents_;
  bool is_read_ = true;
  bool is_ended_ = false;
};

}  // namespace

archive_contents inspect_archive(std::string_view bytes, std::uint64_t max_size) {
  std::string archive;
  try {
    if (!inflates_within(max_size, bytes)) {
      archive_contents contents;
      contents.findings.push_back(
          {severity::fatal,
           {},
           {},
           fmt::format("the archive inflates to more than {} bytes, and no more are checked",
                       max_size)});
      return contents;
    }
    archive = decompress_gzip(decompression_limit, bytes);
  } catch (const std::runtime_error& failure) {
    archive_contents contents;
    contents.findings.push_back(
        {severity::fatal,
         {},
         {},
         fmt::format("not a gzip-compressed archive, or damaged: {}", failure.what())});
    return contents;
  }
  const gzip_extent extent = measure_gzip(bytes);
  archive_contents contents = archive_walk(archive).run();
  if (!extent.is_whole) {
    contents.findings.insert(
        contents.findings.begin(),
        {severity::fault,
         {},
         {},
         fmt::format("the compressed file is cut off: {} bytes are there, and the stream goes on",
                     bytes.size())});
  } else if (extent.size < bytes.size()) {
    contents.findings.push_back({severity::warning,
                                 {},
                                 {},
                                 fmt::format("{} bytes behind the compressed stream are not read",
                                             bytes.size() - extent.size)});
  }
  return contents;
}

}  // namespace veltra::host
