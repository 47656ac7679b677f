#include "host/source/trace_reader.h"

#include <fmt/format.h>
#include <zlib.h>

#include <array>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/user_error.h"
#include "platform/byte_stream.h"
#include "platform/file.h"
#include "platform/process.h"
#include "platform/shell.h"

namespace veltra::host {

namespace {

user_error unreadable_trace(const std::string& name, std::string_view why) {
  return {exit_code::bad_input, fmt::format("{} cannot be read: {}.", name, why)};
}

std::string shown_name(const std::string& name) {
  return name == "-" ? "standard input" : name;
}

// A file as it is.
class plain_reader : public trace_reader {
 public:
  explicit plain_reader(const std::string& name) : name_(shown_name(name)) {
    try {
      bytes_.emplace(name == "-" ? std::filesystem::path() : platform::path_from_utf8(name));
    } catch (const std::system_error& error) {
      throw unreadable_trace(name_, error.code().message());
    }
  }

  std::size_t read(std::span<char> into) override {
    try {
      return bytes_->read(into);
    } catch (const std::system_error& error) {
      throw unreadable_trace(name_, error.code().message());
    }
  }

  void cancel() noexcept override { bytes_->cancel(); }

 private:
  const std::string name_;
  std::optional<platform::byte_reader> bytes_;
};

// The members of a gzip file (RFC 1952), one behind the other.
class gzip_reader : public trace_reader {
 public:
  explicit gzip_reader(const std::string& name) : name_(name), compressed_(name) {
    constexpr int gzip_only = 16 + MAX_WBITS;
    if (inflateInit2(&stream_, gzip_only) != Z_OK)
      throw unreadable_trace(name_, "zlib does not start");
  }

  ~gzip_reader() override { inflateEnd(&stream_); }

  std::size_t read(std::span<char> into) override {
    stream_.next_out = reinterpret_cast<Bytef*>(into.data());
    stream_.avail_out = static_cast<uInt>(into.size());
    while (stream_.avail_out == into.size()) {
      if (stream_.avail_in == 0 && !refill()) {
        if (is_within_member_ && !is_cancelled_) throw breaks_off();
        return 0;
      }
      is_within_member_ = true;
      const int result = inflate(&stream_, Z_NO_FLUSH);
      if (result == Z_STREAM_END) {
        is_within_member_ = false;
        inflateReset(&stream_);
      } else if (result != Z_OK && result != Z_BUF_ERROR) {
        throw unreadable_trace(name_,
                               fmt::format("its gzip data is damaged ({})",
                                           stream_.msg != nullptr ? stream_.msg : "no reason"));
      }
    }
    return into.size() - stream_.avail_out;
  }

  void cancel() noexcept override {
    is_cancelled_ = true;
    compressed_.cancel();
  }

 private:
  user_error breaks_off() const {
    return {exit_code::bad_input,
            fmt::format("{0} cannot be read to its end: its gzip data breaks off; decode what is "
                        "there with: gzip -dc {1} | veltra decode -",
                        name_, platform::shell_word(name_))};
  }

  bool refill() {
    stream_.next_in = reinterpret_cast<Bytef*>(block_.data());
    stream_.avail_in = static_cast<uInt>(compressed_.read(block_));
    return stream_.avail_in != 0;
  }

  const std::string name_;
  plain_reader compressed_;
  std::array<char, 65536> block_;
  z_stream stream_{};
  bool is_within_member_ = false;
  std::atomic<bool> is_cancelled_ = false;
};

// A file that the program zstd decompresses (RFC 8878).
class zstd_reader : public trace_reader {
 public:
  explicit zstd_reader(const std::string& name) : name_(name) {
    const std::filesystem::path program = platform::find_program("zstd");
    if (program.empty()) {
      throw unreadable_trace(name, "the program zstd, which decompresses it, is not installed");
    }
    try {
      process_.emplace(program, std::vector<std::string>{"-dcq", "--", name});
    } catch (const std::system_error& error) {
      throw unreadable_trace(name, error.code().message());
    }
  }

  std::size_t read(std::span<char> into) override {
    const std::size_t count = process_->read(into);
    if (count != 0 || has_ended_) return count;
    has_ended_ = true;
    const platform::process::ending end = [this] {
      const std::lock_guard lock(mutex_);
      is_running_ = false;
      return process_->wait();
    }();
    if (!is_cancelled_ && (end.killed || end.exit_code != 0)) {
      std::string why = end.diagnostics.substr(0, end.diagnostics.find('\n'));
      throw unreadable_trace(name_, why.empty() ? "zstd failed" : why);
    }
    return 0;
  }

  void cancel() noexcept override {
    is_cancelled_ = true;
    const std::lock_guard lock(mutex_);
    if (is_running_) process_->terminate();
  }

 private:
  const std::string name_;
  std::optional<platform::process> process_;
  bool has_ended_ = false;
  std::atomic<bool> is_cancelled_ = false;
  std::mutex mutex_;  // guards what follows
  bool is_running_ = true;
};

std::unique_ptr<trace_reader> open_reader(const std::string& name) {
  switch (compression_of(name)) {
    case compression::gzip:
      return std::make_unique<gzip_reader>(name);
    case compression::zstd:
      return std::make_unique<zstd_reader>(name);
    case compression::none:
      break;
  }
  return std::make_unique<plain_reader>(name);
}

class joined_reader : public trace_reader {
 public:
  explicit joined_reader(std::vector<std::string> names) : names_(std::move(names)) {}

  std::size_t read(std::span<char> into) override {
    for (;;) {
      if (!current_ && !open_next()) return 0;
      if (const std::size_t count = current_->read(into)) return count;
      const std::lock_guard lock(mutex_);
      current_.reset();
    }
  }

  void cancel() noexcept override {
    const std::lock_guard lock(mutex_);
    is_cancelled_ = true;
    if (current_) current_->cancel();
  }

 private:
  bool open_next() {
    if (next_ == names_.size()) return false;
    std::unique_ptr<trace_reader> opened = open_reader(names_[next_++]);
    const std::lock_guard lock(mutex_);
    if (is_cancelled_) return false;
    current_ = std::move(opened);
    return true;
  }

  const std::vector<std::string> names_;
  std::size_t next_ = 0;
  std::mutex mutex_;  // guards what follows against cancel()
  std::unique_ptr<trace_reader> current_;
  bool is_cancelled_ = false;
};

}  // namespace

compression compression_of(const std::string& name) {
  const auto ends_in = [&name](std::string_view ending) {
    return name.size() > ending.size() && name.ends_with(ending);
  };
  if (ends_in(".gz")) return compression::gzip;
  return ends_in(".zst") ? compression::zstd : compression::none;
}

bool needs_reader(const std::string& name) {
  if (name == "-" || compression_of(name) != compression::none) return true;
  std::error_code ignored;
  return std::filesystem::is_fifo(platform::path_from_utf8(name), ignored);
}

std::unique_ptr<trace_reader> make_trace_reader(std::vector<std::string> names) {
  return std::make_unique<joined_reader>(std::move(names));
}

}  // namespace veltra::host
