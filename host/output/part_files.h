// part_files.h - what captures that were ended by force have left.
#pragma once

#include <filesystem>
#include <vector>

namespace veltra::host {

// The name that a part (see atomic_file) would have got; empty for another file. Any thread.
std::filesystem::path target_of_part(const std::filesystem::path& part);

// The parts of `base` and of the pieces of its series that no program writes, as far as this
// user may know. Looks into the directory and, for each, into /proc.
std::vector<std::filesystem::path> find_left_parts(const std::filesystem::path& base);

}  // namespace veltra::host
