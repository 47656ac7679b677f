#include "host/output/raw_recorder.h"

#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

#include "host/output/output_failure.h"
#include "host/output/output_file.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::string_view operation = "cannot write the raw trace";

}  // namespace

raw_recorder::raw_recorder(std::filesystem::path file, std::chrono::milliseconds patience)
    : path_(std::move(file)), streamed_(output_file::is_stream(path_)), stream_(patience) {
  check_output_place(operation, path_);
  if (streamed_) {
    // What waits for its reader must not do so in the middle of a run.
    open();
    return;
  }
  std::error_code ignored;
  const auto there = std::filesystem::status(path_, ignored).type();
  const bool is_new = there == std::filesystem::file_type::not_found;
  if (!is_new && there != std::filesystem::file_type::regular) return;
  // Opened without a change to it, so that hours of silence are not for nothing.
  errno = 0;
  const bool opens = std::ofstream(path_, std::ios::binary | std::ios::app).is_open();
  const int error = errno;
  if (is_new) std::filesystem::remove(path_, ignored);
  if (!opens) fail(error);
}

void raw_recorder::open() {
  if (path_ == "-") {
    platform::set_binary_mode(stdout);
    file_.reset(stdout);
  } else {
    file_.reset(platform::open_file(path_, platform::open_mode::replace));
  }
  if (!file_) fail(errno);
  // A packet is in the file when take() returns, not when some buffer is full.
  std::setvbuf(file_.get(), nullptr, _IONBF, 0);
}

void raw_recorder::take(const packet& packet) {
  if (!is_raw(packet)) return;
  if (!file_) open();
  if (const int error =
          write({reinterpret_cast<const char*>(packet.payload.data()), packet.payload.size()})) {
    fail(error);
  }
  bytes_ += packet.payload.size();
}

int raw_recorder::write(std::string_view bytes) {
  if (streamed_) return stream_.write(file_.get(), bytes);
  return std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size() ? 0 : errno;
}

void raw_recorder::finish() {
  if (!file_) return;
  std::FILE* const file = file_.release();
  if ((file == stdout ? std::fflush(file) : std::fclose(file)) != 0) fail(errno);
}

void raw_recorder::fail(int error) const {
  if (path_ == "-") throw output_failure("cannot write the raw trace to", path_, error);
  throw file_failure(operation, path_, error);
}

}  // namespace veltra::host
