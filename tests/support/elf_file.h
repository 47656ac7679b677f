// elf_file.h - what the dynamic linker reads in a shared library (System V ABI,
// 64-bit ELF in this machine's byte order).
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace test_support {

struct elf_file {
  std::set<std::string> exported;  // symbols that the file defines for others
  std::set<std::string> needed;    // DT_NEEDED
  std::string soname;              // DT_SONAME, empty if none
  std::string runpath;             // DT_RUNPATH or DT_RPATH, empty if none
};

// Throws std::runtime_error for a file that is no such library.
elf_file read_elf_file(const std::filesystem::path& path);

}  // namespace test_support
