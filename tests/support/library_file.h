// library_file.h - what the dynamic linker reads in a shared library: 64-bit ELF in
// this machine's byte order (System V ABI), or the system's own PE32+.
#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace test_support {

struct library_file {
  std::set<std::string> exported;  // symbols that the file defines for others
  std::set<std::string> needed;    // file names of the libraries that it wants
  std::string name;                // its own, by which others want it; empty if none
  std::string runpath;             // where it has libraries looked for (ELF); empty if nowhere
};

// Throws std::runtime_error for a file that is not such a library.
library_file read_library_file(const std::filesystem::path& path);

// What the decoding library is called here.
extern const char* const decoder_library_name;

}  // namespace test_support
