// system_errors.h - how this system says what went wrong.
#pragma once

#include <system_error>

namespace test_support {

// What opening files gives, as errno has it.
extern const std::errc opening_a_directory;
extern const std::errc path_through_a_file;
extern const std::errc replacing_a_directory;

// What opening serial ports gives, as the system's own numbers.
namespace port_error {
extern const int missing;
extern const int busy;
extern const int not_serial;
extern const int other;
}  // namespace port_error

}  // namespace test_support
