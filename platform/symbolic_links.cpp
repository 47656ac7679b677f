#include "platform/symbolic_links.h"

namespace platform {

namespace {

// As many links as Linux follows for one name (path_resolution(7)).
constexpr int max_links = 40;

}  // namespace

std::filesystem::path resolve_symlinks(std::filesystem::path name, std::error_code& error) {
  for (int links = 0; links <= max_links; ++links) {
    std::error_code not_there;
    if (!std::filesystem::is_symlink(name, not_there)) return name;
    const std::filesystem::path target = std::filesystem::read_symlink(name, error);
    if (error) return name;
    name = name.parent_path() / target;  // an absolute target replaces it
  }
  error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
  return name;
}

}  // namespace platform
