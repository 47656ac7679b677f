#include "plugin/database/database_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "plugin/database/gzip.h"
#include "plugin/database/ustar.h"

namespace veltra {

namespace {

// What an archive inflates to, from its first byte on.
class inflated_archive {
 public:
  // Throws std::runtime_error for an archive that is damaged anywhere.
  inflated_archive(std::uint32_t limit, std::string_view compressed) {
    gzip_reader reader(limit, compressed);
    std::array<char, 65536> piece;
    std::size_t count = piece.size();
    while (count == piece.size()) {
      count = reader.read(piece);
      size_ += count;
      if (size_ <= max_held_archive) {
        held_.append(piece.data(), count);
      } else {
        held_ = {};
      }
    }
    if (size_ > max_held_archive) again_.emplace(limit, compressed);
  }

  std::uint64_t size() const { return size_; }

  void read(std::span<char> to) {
    if (again_) {
      again_->read(to);
    } else {
      std::copy_n(held_.data() + given_, to.size(), to.data());
      given_ += to.size();
    }
  }

 private:
  std::uint64_t size_ = 0;
  std::string held_;
  std::size_t given_ = 0;             // of held_
  std::optional<gzip_reader> again_;  // of an archive that is not held
};

// All of an archive is inflated before the first byte is given, so that nothing of a damaged one
// is.
bool try_decompress_gzip(std::string_view input, std::optional<inflated_archive>& output) {
  try {
    output.emplace(decompression_limit, input);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

}  // namespace

void extract_database_texts(std::string bytes, bool archive, std::size_t max_text_size,
                            const std::function<void(std::string text)>& process) {
  // One text for every cause: the JSON library's own messages would mean little
  // to the person that picked the file.
  const auto process_or_refuse = [&](std::string text) {
    try {
      process(std::move(text));
    } catch (...) {
      throw std::runtime_error("Trace database has missing fields or is invalid");
    }
  };

  if (!archive) {
    process_or_refuse(std::move(bytes));
    return;
  }
  std::optional<inflated_archive> members;
  if (!try_decompress_gzip(bytes, members)) throw std::runtime_error("Invalid gzip data");
  visit_ustar_members(
      members->size(), [&](std::span<char> to) { members->read(to); }, max_text_size,
      process_or_refuse);
}

}  // namespace veltra
