#include "tests/support/decoder_preference.h"

#include "platform/dynamic_library.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "tests/support/library_file.h"

namespace test_support {

// A library that the process has already under the same name is taken before any
// search begins ("Dynamic-link library search order" in the system's reference).
void prefer_decoder_of_the_environment() {
  const auto directory = platform::find_environment_variable("VELTRA_DECODER_DIRECTORY");
  if (!directory || directory->empty()) return;
  static const platform::dynamic_library preferred(platform::path_from_utf8(*directory) /
                                                   decoder_library_name);
}

}  // namespace test_support
