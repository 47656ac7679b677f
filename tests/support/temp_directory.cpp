#include "tests/support/temp_directory.h"

#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>

#include "platform/file.h"

namespace test_support {

temp_directory::temp_directory() {
  std::random_device random;
  do {
    path_ =
        std::filesystem::temp_directory_path() /
        ("veltra-test-" + std::to_string(platform::process_id()) + "-" + std::to_string(random()));
  } while (!std::filesystem::create_directory(path_));
}

temp_directory::~temp_directory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path temp_directory::write(std::string_view name, std::string_view bytes) const {
  const auto file = path_ / platform::path_from_utf8(name);
  std::filesystem::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream.flush();
  if (!stream) throw std::runtime_error("cannot write " + file.string());
  return file;
}

working_directory::working_directory(const std::filesystem::path& path)
    : before_(std::filesystem::current_path()) {
  std::filesystem::current_path(path);
}

working_directory::~working_directory() {
  std::error_code ignored;
  std::filesystem::current_path(before_, ignored);
}

}  // namespace test_support
