// scripted_files.h - file operations that fail, or are watched, where a test
// says so, and are the system's otherwise.
#pragma once

#include <cerrno>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/atomic_file.h"

namespace test_support {

// Operations have the names of the members.
class scripted_files : public veltra::file_operations {
 public:
  // Every call of `operation` fails with `error`, an errno value; a write takes
  // half of its bytes.
  void fail(const std::string& operation, int error) { errors_[operation] = error; }
  void succeed(const std::string& operation) { errors_.erase(operation); }

  // Runs `action` before every call of `operation`.
  void before(const std::string& operation, std::function<void()> action) {
    actions_[operation] = std::move(action);
  }

  // The operations that were called, in their order.
  const std::vector<std::string>& done() const { return done_; }

  std::FILE* create(const std::filesystem::path& path) override {
    return fails("create") ? nullptr : file_operations::create(path);
  }
  std::size_t write(std::FILE* file, const char* bytes, std::size_t size) override {
    if (!fails("write")) return file_operations::write(file, bytes, size);
    const std::size_t half = file_operations::write(file, bytes, size / 2);
    errno = errors_["write"];
    return half;
  }
  int sync(std::FILE* file) override { return fails("sync") ? -1 : file_operations::sync(file); }
  int close(std::FILE* file) override {
    const bool failing = fails("close");
    const int result = file_operations::close(file);
    if (!failing) return result;
    errno = errors_["close"];
    return EOF;
  }
  std::error_code replace(const std::filesystem::path& from,
                          const std::filesystem::path& to) override {
    if (fails("replace")) return {errno, std::generic_category()};
    return file_operations::replace(from, to);
  }
  void remove(const std::filesystem::path& path) override {
    fails("remove");
    file_operations::remove(path);
  }

 private:
  bool fails(const std::string& operation) {
    done_.push_back(operation);
    if (const auto action = actions_.find(operation); action != actions_.end()) action->second();
    const auto error = errors_.find(operation);
    if (error == errors_.end()) return false;
    errno = error->second;
    return true;
  }

  std::map<std::string, int> errors_;
  std::map<std::string, std::function<void()>> actions_;
  std::vector<std::string> done_;
};

}  // namespace test_support
