// example_capture.h - captures of the example sessions.
#pragma once

#include <filesystem>
#include <string>

namespace test_support {

// Plays the session (below examples/, without ".tsv") on the virtual modem, decodes its trace and
// returns the capture, which lies in `directory`.
std::filesystem::path make_capture(const std::filesystem::path& directory,
                                   const std::string& session);

}  // namespace test_support
