// How the dynamic linker finds what the plug-in needs.
#include <gtest/gtest.h>

#include "platform/file.h"
#include "tests/support/library_file.h"
#include "tests/support/plugin_library.h"

namespace {

TEST(library_test, the_plugin_looks_for_the_decoder_beside_itself) {
  const auto plugin = platform::path_from_utf8(test_support::plugin_file());
  EXPECT_EQ(test_support::read_library_file(plugin).runpath, "$ORIGIN");
}

}  // namespace
