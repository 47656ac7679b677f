// sync_program - one synchronisation in a process of its own, that can be killed.
//
//   sync_program CACHE ROOT         synchronises and exits with 0, or 1 on failure
//   sync_program CACHE ROOT STEP    the same, but is killed in its STEPth file
//                                   operation (1 is the first)
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "implementation/json.h"
#include "plugin/database/cache_sync.h"
#include "tests/support/child_process.h"

namespace {

// Kills the process before one of the operations, a write when it is half done.
class deadly_files : public veltra::file_operations {
 public:
  explicit deadly_files(long steps) : steps_left_(steps) {}

  std::FILE* create(const std::filesystem::path& path) override {
    if (is_last_step()) test_support::kill_this_process();
    return file_operations::create(path);
  }
  std::size_t write(std::FILE* file, const char* bytes, std::size_t size) override {
    if (is_last_step()) {
      file_operations::write(file, bytes, size / 2);
      std::fflush(file);
      test_support::kill_this_process();
    }
    return file_operations::write(file, bytes, size);
  }
  int sync(std::FILE* file) override {
    if (is_last_step()) test_support::kill_this_process();
    return file_operations::sync(file);
  }
  int close(std::FILE* file) override {
    if (is_last_step()) test_support::kill_this_process();
    return file_operations::close(file);
  }
  std::error_code replace(const std::filesystem::path& from,
                          const std::filesystem::path& to) override {
    if (is_last_step()) test_support::kill_this_process();
    return file_operations::replace(from, to);
  }

 private:
  bool is_last_step() { return --steps_left_ == 0; }

  long steps_left_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 2;
  const kovax::json config = {{"cache_directory", arguments[1]},
                              {"update_cache", true},
                              {"trace_db_locations", {"${root}config.json"}},
                              {"root", arguments[2]}};
  deadly_files files(count > 3 ? std::strtol(arguments[3], nullptr, 10) : 0);
  try {
    std::vector<std::string> directories;
    veltra::sync_log no_log({});
    veltra::sync_database_cache(
        no_log, config, directories,
        [](const kovax::json& value) { return value.get<std::string>(); }, files);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
