// drive.h - what makes a path absolute here.
#pragma once

namespace test_support {

// What stands before the first separator of an absolute path: a drive, or nothing.
extern const char* const drive;

}  // namespace test_support
