#include "host/batch/summary_file.h"

#include <cerrno>

#include "host/console.h"
#include "host/output/output_failure.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

// What a process that was killed had begun to write is not the beginning of our line.
bool ends_within_line(std::FILE* file) {
  if (std::fseek(file, -1, SEEK_END) != 0) return false;  // an empty file, or not one to seek in
  const int last = std::fgetc(file);
  return last != EOF && last != '\n';
}

}  // namespace

summary_file::summary_file(const std::string& name) : name_(name) {
  if (name.empty() || name == "-") return;
  const std::filesystem::path path = platform::path_from_utf8(name);
  file_.reset(platform::open_file(path, platform::open_mode::append));
  if (!file_) throw file_failure("cannot write", path, errno);
  const bool is_torn = ends_within_line(file_.get());
  std::fseek(file_.get(), 0, SEEK_END);  // between reading and writing
  std::setvbuf(file_.get(), nullptr, _IONBF, 0);
  if (is_torn) write("\n");
}

void summary_file::write(std::string_view line) {
  if (name_.empty()) return;
  const std::lock_guard lock(mutex_);
  if (!file_) {
    print(line);
  } else if (platform::write_bytes(file_.get(), line.data(), line.size()) != line.size()) {
    throw file_failure("cannot write", platform::path_from_utf8(name_), errno);
  }
}

}  // namespace veltra::host
