// stream_uuid.h - the UUID in a stream, found in constant memory.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace veltra {

// Searches a stream as uid_search does, for what needs the UUID and not the bytes: it
// keeps no more than `window` bytes, and nothing once it has found one. One thread.
class stream_uuid {
 public:
  // Takes the next bytes.
  void take(std::string_view bytes);

  // The first UUID in what was taken so far, as it is spelt there; nothing if there is none.
  std::optional<std::string> result();

 private:
  void search();

  std::optional<std::string> found_;
  std::string held_;  // not searched yet, behind a tail in which a marker may have begun
};

}  // namespace veltra
