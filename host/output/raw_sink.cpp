#include "host/output/raw_sink.h"

#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

#include "host/output/output_failure.h"
#include "host/output/output_file.h"
#include "platform/file.h"
#include "platform/symbolic_links.h"

namespace veltra::host {

namespace {

constexpr std::string_view raw_operation = "cannot write the raw trace";

}  // namespace

raw_sink::raw_sink(std::filesystem::path path, bool may_overwrite,
                   std::chrono::milliseconds patience)
    : path_(std::move(path)),
      target_(path_),
      is_stream_(output_file::is_stream(path_)),
      may_overwrite_(may_overwrite),
      stream_(patience) {
  check_output_place(raw_operation, path_);
  if (!is_stream_) check_file();
}

// Changes nothing, so that hours of silence are not for nothing.
void raw_sink::check_file() {
  std::error_code circle;
  target_ = platform::resolve_symlinks(path_, circle);
  if (circle) fail(circle.default_error_condition().value());
  std::error_code ignored;
  const auto there = std::filesystem::status(target_, ignored).type();
  const bool is_new = there == std::filesystem::file_type::not_found;
  if (!is_new && !may_overwrite_) {
    throw user_error(exit_code::usage,
                     fmt::format("{} exists; give another name for the raw trace, or replace the "
                                 "file with --overwrite.",
                                 name()));
  }
  if (!is_new && there != std::filesystem::file_type::regular) return;
  errno = 0;
  const bool opens = std::ofstream(target_, std::ios::binary | std::ios::app).is_open();
  const int error = errno;
  if (is_new) std::filesystem::remove(target_, ignored);
  if (!opens) fail(error);
}

void raw_sink::begin() {
  if (is_stream_) open();
}

void raw_sink::open() {
  using platform::open_mode;
  if (path_ == "-") {
    platform::set_binary_mode(stdout);
    file_.reset(stdout);
  } else {
    const bool is_replaced = is_stream_ || may_overwrite_;
    file_.reset(platform::open_file(target_, is_replaced ? open_mode::replace : open_mode::create));
  }
  if (!file_) fail(errno);
  // A packet is in the file when write() returns, not when some buffer is full.
  std::setvbuf(file_.get(), nullptr, _IONBF, 0);
}

void raw_sink::write(const packet& packet) {
  if (!is_raw(packet)) return;
  if (!file_) open();
  if (const int error =
          put({reinterpret_cast<const char*>(packet.payload.data()), packet.payload.size()})) {
    fail(error);
  }
  bytes_ += packet.payload.size();
}

int raw_sink::put(std::string_view bytes) {
  if (is_stream_) return stream_.write(file_.get(), bytes);
  return platform::write_bytes(file_.get(), bytes.data(), bytes.size()) == bytes.size() ? 0 : errno;
}

void raw_sink::sync() {
  if (!file_ || is_stream_ || !is_synced_ || std::exchange(synced_bytes_, bytes_) == bytes_) return;
  if (platform::sync_file(file_.get()) != 0) fail(errno);
  if (!std::exchange(is_name_synced_, true)) platform::sync_directory(target_.parent_path());
}

void raw_sink::finish() {
  if (!file_) return;
  sync();
  std::FILE* const file = file_.release();
  if ((file == stdout ? std::fflush(file) : platform::close_file(file)) != 0) fail(errno);
}

bool raw_sink::salvage() {
  file_.reset();
  return bytes_ != 0;
}

std::string raw_sink::name() const {
  return output_name(path_);
}

std::string raw_sink::remarks() const {
  if (missed_ == 0) return {};
  return fmt::format("{} chunk{} missed: the reader was too slow", missed_,
                     missed_ == 1 ? "" : "s");
}

void raw_sink::fail(int error) const {
  if (path_ == "-") throw output_failure("cannot write the raw trace to", path_, error);
  throw file_failure(raw_operation, path_, error);
}

}  // namespace veltra::host
