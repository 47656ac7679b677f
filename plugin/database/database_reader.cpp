#include "plugin/database/database_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "plugin/database/gzip.h"
#include "plugin/database/ustar.h"

namespace veltra {

namespace {

// What an archive inflates to, from its first byte on. All of it is inflated before the first
// byte is given, so that nothing of a damaged archive is.
class inflated_archive {
 public:
  explicit inflated_archive(std::string_view compressed) {
    try {
      gzip_reader reader(decompression_limit, compressed);
      hold_or_count(reader);
      if (size_ > max_held_archive) again_.emplace(decompression_limit, compressed);
    } catch (const std::runtime_error&) {
      throw std::runtime_error("Invalid gzip data");
    }
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
  void hold_or_count(gzip_reader& reader) {
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
  }

  std::uint64_t size_ = 0;
  std::string held_;
  std::size_t given_ = 0;             // of held_
  std::optional<gzip_reader> again_;  // of an archive that is not held
};

}  // namespace

void extract_database_texts(std::string_view bytes, bool archive, std::size_t max_text_size,
                            const std::function<void(std::string_view text)>& process) {
  // One text for every cause: the JSON library's own messages would mean little
  // to the person that picked the file.
  const auto process_or_refuse = [&](std::string_view text) {
    try {
      process(text);
    } catch (...) {
      throw std::runtime_error("Trace database has missing fields or is invalid");
    }
  };

  if (!archive) {
    process_or_refuse(bytes);
    return;
  }
  inflated_archive inflated(bytes);
  visit_ustar_members(
      inflated.size(), [&](std::span<char> to) { inflated.read(to); }, max_text_size,
      process_or_refuse);
}

}  // namespace veltra
