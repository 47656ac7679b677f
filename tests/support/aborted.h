// aborted.h - how a death test sees that the process stopped itself with abort().
#pragma once

namespace test_support {

// For EXPECT_EXIT; `status` is what the system tells of the process's end.
bool aborted(int status);

}  // namespace test_support
