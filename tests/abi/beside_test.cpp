// The plug-in with the decoder that lies beside it. Runs without a library
// search path in the environment.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/dynamic_library.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "tests/support/library_file.h"
#include "tests/support/plugin_library.h"

namespace {

using platform::loaded_library_file;
using test_support::decoder_library_name;

TEST(beside_test, the_environment_names_no_decoder) {
  for (const char* name : {"LD_LIBRARY_PATH", "VELTRA_DECODER_DIRECTORY"}) {
    EXPECT_EQ(platform::find_environment_variable(name).value_or(""), "") << name;
  }
}

TEST(beside_test, the_decoder_beside_the_plugin_is_found) {
  test_support::plugin();
  const auto decoder = loaded_library_file(decoder_library_name);
  ASSERT_NE(decoder, "") << "loading the plug-in brought in no decoder";
  const auto plugin = platform::path_from_utf8(test_support::plugin_file());
  EXPECT_EQ(std::filesystem::canonical(decoder).parent_path(),
            std::filesystem::canonical(plugin).parent_path());
}

TEST(beside_test, it_is_not_the_scripted_one) {
  test_support::plugin();
  const auto decoder = loaded_library_file(decoder_library_name);
  ASSERT_NE(decoder, "") << "loading the plug-in brought in no decoder";
  EXPECT_THROW(platform::dynamic_library(decoder).function<void (*)()>("scripted_dekodrix_clear"),
               std::runtime_error);
}

}  // namespace
