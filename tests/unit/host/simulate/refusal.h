// refusal.h - the user_error of a piece of work, for tests only.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/user_error.h"

namespace veltra::host {

// Runs `work` and returns the text of the user_error that it must throw, which
// must have the code `expected`.
template <typename Work>
std::string refusal_of(Work&& work, exit_code expected = exit_code::bad_input) {
  try {
    work();
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), expected) << error.what();
    return error.what();
  }
  ADD_FAILURE() << "nothing was refused";
  return {};
}

}  // namespace veltra::host
