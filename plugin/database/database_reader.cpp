#include "plugin/database/database_reader.h"

#include <stdexcept>
#include <string>

#include "plugin/database/gzip.h"
#include "plugin/database/ustar.h"

namespace veltra {

void extract_database_texts(std::string_view bytes, bool archive,
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
  std::string members;
  if (!try_decompress_gzip(bytes, members)) {
    throw std::runtime_error("Invalid gzip data");
  }
  visit_ustar_members(members, process_or_refuse);
}

}  // namespace veltra
