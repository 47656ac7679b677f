// console.h - what a command says to a person, and what it gives to a program.
#pragma once

#include <string_view>

namespace veltra::host {

// Shows text on stderr. Never fails: no work is worse for that nobody hears of it.
// Any thread.
void tell(std::string_view text) noexcept;

// Writes a result to standard output, to the last byte. Throws user_error
// (output_failed) if it is not taken.
void print(std::string_view text);

}  // namespace veltra::host
