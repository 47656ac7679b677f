#include "host/live/raw_recorder.h"

#include <fmt/format.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

raw_recorder::raw_recorder(std::filesystem::path file) : path_(std::move(file)) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path_, ignored)) fail(EISDIR);
  const auto parent = path_.parent_path();
  if (!parent.empty() && !std::filesystem::is_directory(parent, ignored)) fail(ENOENT);
}

void raw_recorder::open() {
  file_.reset(platform::open_file(path_, platform::open_mode::replace));
  if (!file_) fail(errno);
  // A packet is in the file when take() returns, not when some buffer is full.
  std::setvbuf(file_.get(), nullptr, _IONBF, 0);
}

void raw_recorder::take(const packet& packet) {
  if (!is_raw(packet)) return;
  if (!file_) open();
  if (std::fwrite(packet.payload.data(), 1, packet.payload.size(), file_.get()) !=
      packet.payload.size()) {
    fail(errno);
  }
  bytes_ += packet.payload.size();
}

void raw_recorder::finish() {
  if (file_ && std::fclose(file_.release()) != 0) fail(errno);
}

void raw_recorder::fail(int error) const {
  throw user_error(
      exit_code::output_failed,
      fmt::format("cannot write the raw trace {}: {}; give another place with room "
                  "and write permission.",
                  platform::path_to_utf8(path_), std::generic_category().message(error)));
}

}  // namespace veltra::host
