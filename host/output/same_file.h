// same_file.h - outputs that would destroy what a run reads.
#pragma once

#include <filesystem>

namespace veltra::host {

// Whether both names lead to one file: through links of either kind, and also where
// there is no file yet. An empty name leads to none. Any thread.
bool is_same_file(const std::filesystem::path& a, const std::filesystem::path& b);

// Whether `file` is the catalogue or a database of the cache in `directory`, be it in use
// or not: a file that is there, below the directory, with such a name. Any thread.
bool is_file_of_cache(const std::filesystem::path& file, const std::filesystem::path& directory);

}  // namespace veltra::host
