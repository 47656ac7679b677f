// The plug-in with the decoder that lies beside it. Runs without a library
// search path in the environment.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tests/support/plugin_library.h"

namespace {

struct close_library {
  void operator()(void* library) const { dlclose(library); }
};
using library_handle = std::unique_ptr<void, close_library>;

// The decoder that loading the plug-in brought in; null if there is none.
library_handle loaded_decoder() {
  return library_handle(dlopen("libdekodrix.so", RTLD_NOW | RTLD_NOLOAD));
}

TEST(beside_test, the_environment_gives_no_search_path) {
  const char* path = std::getenv("LD_LIBRARY_PATH");
  EXPECT_STREQ(path != nullptr ? path : "", "");
}

TEST(beside_test, the_decoder_beside_the_plugin_is_found) {
  test_support::plugin();
  const auto decoder = loaded_decoder();
  ASSERT_NE(decoder, nullptr) << "loading the plug-in brought in no decoder";

  void* function = dlsym(decoder.get(), "dekodrix_new");
  ASSERT_NE(function, nullptr);
  Dl_info information = {};
  ASSERT_NE(dladdr(function, &information), 0);
  const auto found = std::filesystem::canonical(information.dli_fname).parent_path();
  EXPECT_EQ(found, std::filesystem::canonical(test_support::plugin_file()).parent_path());
}

TEST(beside_test, it_is_not_the_scripted_one) {
  test_support::plugin();
  const auto decoder = loaded_decoder();
  ASSERT_NE(decoder, nullptr);
  EXPECT_EQ(dlsym(decoder.get(), "scripted_dekodrix_clear"), nullptr);
}

}  // namespace
