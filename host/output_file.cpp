#include "host/output_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::size_t copy_block = std::size_t{1} << 20;

}  // namespace

output_file::output_file(std::filesystem::path target, access how) : target_(std::move(target)) {
  if (target_ == "-") {
    platform::set_binary_mode(stdout);
    if (how == access::random) {
      file_.reset(std::tmpfile());
      if (!file_) fail("cannot make a temporary file for", errno);
    }
    return;
  }
  temporary_ = target_;
  temporary_ += fmt::format(".{}.part", platform::process_id());
  file_.reset(platform::open_file(temporary_, platform::open_mode::replace));
  if (!file_) {
    const int error = errno;
    temporary_.clear();
    fail("cannot write", error);
  }
}

output_file::~output_file() {
  file_.reset();
  if (temporary_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
}

void output_file::write(std::string_view bytes) {
  std::FILE* file = file_ ? file_.get() : stdout;
  if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
    fail("cannot write", errno);
  }
  size_ += bytes.size();
}

void output_file::write_at(std::uint64_t offset, std::string_view bytes) {
  seek(offset);
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) {
    fail("cannot write", errno);
  }
  seek(size_);
}

void output_file::insert(std::uint64_t offset, std::string_view bytes) {
  // From the back, so that no byte is overwritten before it has been moved.
  std::vector<char> block(
      static_cast<std::size_t>(std::min<std::uint64_t>(copy_block, size_ - offset)));
  std::uint64_t end = size_;
  while (end > offset) {
    const std::uint64_t begin = end - std::min<std::uint64_t>(block.size(), end - offset);
    const auto count = static_cast<std::size_t>(end - begin);
    if (read_at(begin, block.data(), count) != count) fail("cannot re-read", errno);
    seek(begin + bytes.size());
    if (std::fwrite(block.data(), 1, count, file_.get()) != count) fail("cannot write", errno);
    end = begin;
  }
  size_ += bytes.size();
  write_at(offset, bytes);
}

void output_file::commit() {
  if (!file_) {
    if (std::fflush(stdout) != 0) fail("cannot write", errno);
    return;
  }
  if (std::fflush(file_.get()) != 0) fail("cannot write", errno);
  if (temporary_.empty()) {
    copy_to_standard_output();
    return;
  }
  if (std::fclose(file_.release()) != 0) fail("cannot write", errno);
  std::error_code error;
  std::filesystem::rename(temporary_, target_, error);
  if (error) fail("cannot write", error.value());
  temporary_.clear();
}

void output_file::copy_to_standard_output() {
  std::vector<char> block(copy_block);
  for (std::uint64_t offset = 0; offset < size_;) {
    const std::size_t count = read_at(offset, block.data(), block.size());
    if (count == 0) fail("cannot re-read", errno);
    if (std::fwrite(block.data(), 1, count, stdout) != count) fail("cannot write", errno);
    offset += count;
  }
  if (std::fflush(stdout) != 0) fail("cannot write", errno);
}

std::size_t output_file::read_at(std::uint64_t offset, char* into, std::size_t count) {
  seek(offset);
  return std::fread(into, 1, count, file_.get());
}

void output_file::seek(std::uint64_t offset) {
  if (platform::seek_file(file_.get(), offset) != 0) fail("cannot seek in", errno);
}

void output_file::fail(const char* what, int error) const {
  throw user_error(
      exit_code::output_failed,
      fmt::format("{} {}: {}; give another place with room and write permission.", what,
                  target_ == "-" ? std::string("standard output") : platform::path_to_utf8(target_),
                  std::generic_category().message(error)));
}

}  // namespace veltra::host
