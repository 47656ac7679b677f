#include "host/capture/secrets_slot.h"

#include <algorithm>
#include <string>

#include "host/capture/pcapng_blocks.h"

namespace veltra::host {

namespace {

// A line that key log readers ignore; '#' throughout, so that the filling may
// begin anywhere in it.
constexpr std::size_t filling_line = 64;

std::string padded(std::string_view key_log) {
  std::string text(key_log);
  text.resize(secrets_slot::capacity, '#');
  for (std::size_t end = secrets_slot::capacity; end > key_log.size();) {
    text[end - 1] = '\n';
    end -= std::min(filling_line, end);
  }
  return text;
}

}  // namespace

void secrets_slot::reserve(output_file& file) {
  offset_ = file.size();
  reserved_ = true;
  std::string room;
  pcapng::append_secrets(room, padded({}), pcapng::skipped_block_type);
  file.write(room);
}

void secrets_slot::fill(output_file& file, std::string_view key_log) {
  if (key_log.empty()) return;
  std::string secrets;
  if (reserved_ && key_log.size() <= capacity) {
    pcapng::append_secrets(secrets, padded(key_log));
    file.write_at(offset_, secrets);
    return;
  }
  pcapng::append_secrets(secrets, key_log);
  if (reserved_) {
    file.insert(offset_, secrets);
  } else {
    file.write(secrets);
  }
}

}  // namespace veltra::host
