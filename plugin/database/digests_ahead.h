// digests_ahead.h - digests of many files, taken on all processors.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace veltra {

// Takes the digests of files while its user is busy with those before them. What it cannot
// say - a file that is missing, that cannot be read, that changed since, that is not a
// regular one - its user finds out, with the failure that belongs to it. One thread.
class digests_ahead {
 public:
  // Starts with the first. Several files at a time, as many as there are processors; none
  // ahead if there is only one file, or no thread to be had.
  explicit digests_ahead(const std::vector<std::filesystem::path>& files);
  digests_ahead(const digests_ahead&) = delete;
  digests_ahead& operator=(const digests_ahead&) = delete;
  // Ends what is under way.
  ~digests_ahead();

  // The SHA-256 digest of `file` as it is now, as sha256_hex() has it. Waits until it was
  // taken; nothing if the file is not one of those given, or as above.
  std::optional<std::string> take(const std::filesystem::path& file);

  // The file is about to be written.
  void forget(const std::filesystem::path& file) { index_of_.erase(file); }

 private:
  // What changes with a file's content.
  struct file_state {
    std::uintmax_t size;
    std::filesystem::file_time_type written;

    bool operator==(const file_state&) const = default;
  };
  struct result {
    bool is_done = false;
    std::optional<file_state> state;
    std::string digest;
  };

  static std::optional<file_state> state_of(const std::filesystem::path& file);
  void work();
  std::string digest_of(const std::filesystem::path& file) const;

  std::vector<std::filesystem::path> files_;
  std::map<std::filesystem::path, std::size_t> index_of_;
  std::atomic<std::size_t> next_ = 0;
  std::atomic<bool> is_over_ = false;
  std::mutex mutex_;  // guards results_
  std::condition_variable done_;
  std::vector<result> results_;  // as files_
  std::vector<std::thread> threads_;
};

}  // namespace veltra
