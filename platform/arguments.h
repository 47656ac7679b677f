// arguments.h - what the program was called with.
#pragma once

#include <string>
#include <vector>

namespace platform {

// The arguments of main() as UTF-8, the program's name first. Where the system
// keeps them in a form that main() gets only a part of (Windows: UTF-16), they come
// from there, and no program-start code has replaced "*" and "?" in them.
std::vector<std::string> utf8_arguments(int argc, const char* const* argv);

}  // namespace platform
