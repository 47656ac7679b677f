// uid_search_reference.h - the UUID search in its plainest form: it starts over
// with every chunk. What the real one is compared with.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plugin/database/host_log.h"

namespace test_support {

class uid_search_reference {
 public:
  // As veltra::uid_search::search().
  std::optional<std::string> search(std::string_view new_bytes, const veltra::host_log& log);

 private:
  std::string cached_data_;
};

}  // namespace test_support
