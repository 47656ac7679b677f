#include "host/output_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "host/output_failure.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr std::size_t copy_block = std::size_t{1} << 20;

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
    if (std::filesystem::is_symlink(target_, ignored)) {
      auto leads_to = std::filesystem::weakly_canonical(target_, ignored);
      if (!ignored) target_ = std::move(leads_to);
    }
    std::filesystem::path temporary = target_;
    temporary += fmt::format(".{}.part", platform::process_id());
    file_ = checked(platform::open_file(temporary, platform::open_mode::replace));
    temporary_ = std::move(temporary);
    return;
  }
  if (how == access::random) copy_to_ = std::exchange(file_, checked(platform::open_temporary_file()));
}

output_file::~output_file() {
  file_.reset();
  if (temporary_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
}

void output_file::write(std::string_view bytes) {
  put(file_.get(), bytes);
  size_ += bytes.size();
}

void output_file::write_at(std::uint64_t offset, std::string_view bytes) {
  seek(offset);
  put(file_.get(), bytes);
  seek(size_);
}

void output_file::finish() {
  if (copy_to_) {
    copy_to(copy_to_.get());
    file_ = std::move(copy_to_);
  }
  if (file_) close(std::move(file_));
}

void output_file::commit() {
  finish();
  if (temporary_.empty()) return;
  std::error_code error;
  std::filesystem::rename(temporary_, target_, error);
  if (error) fail("cannot write", error.value());
  temporary_.clear();
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
  return file_handle(opened);
}

void output_file::put(std::FILE* into, std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), into) != bytes.size()) {
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
