#include "host/live/raw_recorder.h"

#include <cerrno>
#include <utility>

#include "host/output_failure.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::string_view operation = "cannot write the raw trace";

}  // namespace

raw_recorder::raw_recorder(std::filesystem::path file) : path_(std::move(file)) {
  check_output_place(operation, path_);
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
  throw output_failure(operation, path_, error);
}

}  // namespace veltra::host
