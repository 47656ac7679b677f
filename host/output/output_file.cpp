#include "host/output/output_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "host/output/output_failure.h"
#include "platform/file.h"
#include "platform/symbolic_links.h"

namespace veltra::host {

namespace {

constexpr std::size_t copy_block = std::size_t{1} << 20;
constexpr std::size_t collected_block = std::size_t{1} << 16;

}  // namespace

output_file::output_file(std::filesystem::path target, access how) : target_(std::move(target)) {
  check_output_place("cannot write", target_);
  std::error_code ignored;
  if (target_ == "-") {
    platform::set_binary_mode(stdout);
    file_.reset(stdout);
  } else if (std::filesystem::is_other(target_, ignored)) {
    file_ = checked(platform::open_file(target_, platform::open_mode::write));
  } else {
    target_ = platform::end_of_links(std::move(target_), ignored);
    std::filesystem::path temporary = target_;
    temporary += fmt::format(".{}.part", platform::process_id());
    file_ = checked(platform::open_file(temporary, platform::open_mode::replace));
    temporary_ = std::move(temporary);
    return;
  }
  if (how == access::random) {
    copy_to_ = std::exchange(file_, checked(platform::open_temporary_file()));
  }
}

bool output_file::is_stream(const std::filesystem::path& target) {
  std::error_code ignored;
  return target == "-" || std::filesystem::is_other(target, ignored);
}

output_file::~output_file() {
  file_.reset();
  if (temporary_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
}

void output_file::write(std::string_view record) {
  collected_ += record;
  size_ += record.size();
  if (collected_.size() >= collected_block) drain();
}

void output_file::flush() {
  if (!copy_to_) drain();
}

bool output_file::keep_whole_records() {
  if (temporary_.empty() || safe_size_ == 0) return false;
  collected_.clear();
  size_ = safe_size_;
  cut_ = true;
  return true;
}

void output_file::drain() {
  if (collected_.empty()) return;
  // What an earlier attempt left of them is written over.
  const bool seekable = !temporary_.empty() || copy_to_;
  if (std::exchange(torn_, true) && seekable) seek(safe_size_);
  put(file_.get(), collected_);
  torn_ = false;
  collected_.clear();
  safe_size_ = size_;
}

void output_file::write_at(std::uint64_t offset, std::string_view bytes) {
  drain();
  torn_ = true;  // for the file's position as well
  seek(offset);
  put(file_.get(), bytes);
  seek(size_);
  torn_ = false;
}

void output_file::finish() {
  if (!file_) return;
  drain();
  if (copy_to_) {
    copy_to(copy_to_.get());
    file_ = std::move(copy_to_);
  }
  close(std::move(file_));
  if (!cut_) return;
  std::error_code error;
  std::filesystem::resize_file(temporary_, size_, error);
  if (error) fail("cannot write", error.default_error_condition().value());
}

void output_file::commit() {
  finish();
  if (temporary_.empty()) return;
  const std::error_code error = platform::replace_file(temporary_, target_);
  if (error) fail("cannot write", error.default_error_condition().value());
  temporary_.clear();
}

std::filesystem::path output_file::leave() {
  if (file_) return {};
  return std::exchange(temporary_, {});
}

void output_file::copy_to(std::FILE* target) {
  std::vector<char> block(copy_block);
  for (std::uint64_t offset = 0; offset < size_;) {
    const std::size_t count = read_at(offset, block.data(), block.size());
    if (count == 0) fail("cannot re-read", errno);
    put(target, {block.data(), count});
    offset += count;
  }
}

void output_file::close(file_handle file) {
  // Standard output is not ours to close.
  if (std::fflush(file.get()) != 0) fail("cannot write", errno);
  if (file.get() != stdout && std::fclose(file.release()) != 0) fail("cannot write", errno);
}

output_file::file_handle output_file::checked(std::FILE* opened) const {
  if (opened == nullptr) fail("cannot write", errno);
  // Bytes that a full disk refused must not stay in a buffer, to be refused again.
  std::setvbuf(opened, nullptr, _IONBF, 0);
  return file_handle(opened);
}

void output_file::put(std::FILE* into, std::string_view bytes) {
  const bool streamed = temporary_.empty() && (!copy_to_ || into == copy_to_.get());
  if (streamed) {
    if (const int error = stream_.write(into, bytes)) fail("cannot write", error);
  } else if (std::fwrite(bytes.data(), 1, bytes.size(), into) != bytes.size() ||
             std::fflush(into) != 0) {
    fail("cannot write", errno);
  }
}

std::size_t output_file::read_at(std::uint64_t offset, char* into, std::size_t count) {
  seek(offset);
  return std::fread(into, 1, count, file_.get());
}

void output_file::seek(std::uint64_t offset) {
  if (platform::seek_file(file_.get(), offset) != 0) fail("cannot seek in", errno);
}

void output_file::fail(const char* what, int error) const {
  throw output_failure(what, target_, error);
}

}  // namespace veltra::host
