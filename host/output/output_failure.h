// output_failure.h - why something cannot be written, and what to do.
#pragma once

#include <filesystem>
#include <string_view>

#include "host/user_error.h"

namespace veltra::host {

// The sentence (output_failed) for the output `path`, "-" for standard output, on
// which an operation failed with `error`, an errno value: the operation (such as
// "cannot write"), the path, the reason and the next step. Looks at the directory for
// what the system's own words do not tell.
user_error output_failure(std::string_view operation, const std::filesystem::path& path, int error);

// The same for a file that is not made anew under another name, but written where it
// is: what it lacks, if it is there, is permission of its own.
user_error file_failure(std::string_view operation, const std::filesystem::path& path, int error);

// Fails as output_failure() if `path` can never be written, because it is a directory or there is
// none for it. Writes nothing: for the time before work that takes long.
void check_output_place(std::string_view operation, const std::filesystem::path& path);

// The path for a person to read: "standard output" for "-".
std::string output_name(const std::filesystem::path& path);

}  // namespace veltra::host
