#include "host/output/same_file.h"

#include <algorithm>
#include <system_error>

namespace veltra::host {

namespace {

// Empty if the system cannot tell.
std::filesystem::path resolved(const std::filesystem::path& name) {
  std::error_code error;
  auto path = std::filesystem::weakly_canonical(std::filesystem::absolute(name, error), error);
  return error ? std::filesystem::path() : path;
}

}  // namespace

bool is_same_file(const std::filesystem::path& a, const std::filesystem::path& b) {
  if (a.empty() || b.empty()) return false;
  std::error_code error;
  if (std::filesystem::equivalent(a, b, error) && !error) return true;
  const std::filesystem::path full = resolved(a);
  return !full.empty() && full == resolved(b);
}

bool is_file_of_cache(const std::filesystem::path& file, const std::filesystem::path& directory) {
  std::error_code error;
  if (file.empty() || directory.empty() || !std::filesystem::is_regular_file(file, error)) {
    return false;
  }
  if (file.extension() != ".json" && file.extension() != ".gz") return false;
  const std::filesystem::path full = resolved(file);
  const std::filesystem::path above = resolved(directory);
  return !full.empty() && !above.empty() &&
         std::mismatch(above.begin(), above.end(), full.begin(), full.end()).first == above.end();
}

}  // namespace veltra::host
