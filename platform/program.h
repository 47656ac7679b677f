// program.h - starting another program that outlives this one.
#pragma once

#include <string>
#include <system_error>
#include <vector>

namespace platform {

// Both start `arguments[0]`, which is searched for as a shell would, with the rest as its
// arguments (UTF-8), and do not wait for it. It belongs to no terminal, so that Ctrl-C does
// not end it. Return the failure, also if there is no such program.

std::error_code start_program(const std::vector<std::string>& arguments);

// From then on the program reads as its standard input what this process writes to
// standard output.
std::error_code start_reader_of_stdout(const std::vector<std::string>& arguments);

}  // namespace platform
