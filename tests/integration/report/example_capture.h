// example_capture.h - captures of the example sessions.
#pragma once

#include <filesystem>
#include <string>

namespace test_support {

// Plays a session on the virtual modem, decodes its trace and returns the capture, which lies in
// `directory`.
std::filesystem::path make_capture_of(const std::filesystem::path& directory,
                                      const std::filesystem::path& session, int repeat = 1);

// The same with a session below examples/, named without ".tsv".
std::filesystem::path make_capture(const std::filesystem::path& directory,
                                   const std::string& session, int repeat = 1);

}  // namespace test_support
