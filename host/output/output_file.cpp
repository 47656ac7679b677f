#include "host/output/output_file.h"

#include <cerrno>
#include <utility>

#include "host/output/output_failure.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

constexpr const char* operation = "cannot write";

}  // namespace

output_file::output_file(std::filesystem::path target, storage how, file_operations& operations)
    : target_(std::move(target)), is_stream_(is_stream(target_)), file_(operations) {
  check_output_place(operation, target_);
  if (is_stream_) {
    open_stream();
  } else {
    if (how == storage::gzip) compressor_.emplace();
    check(file_.open(target_));
  }
}

bool output_file::is_stream(const std::filesystem::path& target) {
  std::error_code ignored;
  return target == "-" || platform::is_pipe_name(target) ||
         std::filesystem::is_other(target, ignored);
}

void output_file::open_stream() {
  if (target_ == "-") {
    platform::set_binary_mode(stdout);
    stream_file_.reset(stdout);
  } else {
    stream_file_.reset(platform::open_file(target_, platform::open_mode::write));
  }
  if (!stream_file_) fail(errno);
  std::setvbuf(stream_file_.get(), nullptr, _IONBF, 0);
}

void output_file::write(std::string_view record) {
  write_with([record](std::string& to) { to += record; });
}

void output_file::flush() {
  if (!compressor_) put_collected();
}

void output_file::put_collected() {
  if (collected_.empty()) return;
  if (is_stream_) {
    if (const int error = stream_.write(stream_file_.get(), collected_)) fail(error);
  } else {
    check(file_.write(compressor_ ? compressor_->compress(collected_) : collected_));
  }
  given_ += collected_.size();
  collected_.clear();
}

bool output_file::keep_whole_records() {
  if (is_stream_ || file_.size() == 0) return false;
  collected_.clear();
  size_ = given_;
  return true;
}

void output_file::finish() {
  if (is_finished_) return;
  put_collected();
  is_finished_ = true;
  if (!is_stream_) {
    check(file_.finish());
  } else if (std::fflush(stream_file_.get()) != 0) {
    fail(errno);
  } else if (std::FILE* const file = stream_file_.release();
             file != stdout && std::fclose(file) != 0) {
    fail(errno);
  }
}

void output_file::commit() {
  finish();
  if (!is_stream_) check(file_.commit());
}

std::filesystem::path output_file::keep_part() {
  return is_finished_ ? file_.keep_part() : std::filesystem::path();
}

void output_file::check(std::error_code error) const {
  if (error) fail(error.default_error_condition().value());
}

void output_file::fail(int error) const {
  throw output_failure(operation, target_, error);
}

}  // namespace veltra::host
