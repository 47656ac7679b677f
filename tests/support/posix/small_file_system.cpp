#include "tests/support/small_file_system.h"

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace test_support {

small_file_system::small_file_system(const std::filesystem::path& directory, std::size_t size)
    : directory_(directory) {
  // A name space of mounts that ends with the process, whatever becomes of it.
  if (unshare(CLONE_NEWNS) != 0) return;
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return;
  const std::string options = "size=" + std::to_string(size);
  mounted_ = mount("tmpfs", directory_.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

small_file_system::~small_file_system() {
  if (mounted_) umount(directory_.c_str());
}

void small_file_system::make_read_only() {
  if (mount(nullptr, directory_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
    throw std::system_error(errno, std::generic_category(), "mount");
  }
}

}  // namespace test_support
