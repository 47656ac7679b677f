#include "platform/dynamic_library.h"

#include <dekodrix/dekodrix.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using platform::dynamic_library;

TEST(dynamic_library_loading, gives_the_functions_of_a_library) {
  const dynamic_library library(DECODER_LIBRARY);
  const auto make = library.function<decltype(&dekodrix_new)>("dekodrix_new");
  const auto destroy = library.function<decltype(&dekodrix_delete)>("dekodrix_delete");
  dekodrix* decoder = make();
  EXPECT_NE(decoder, nullptr);
  destroy(decoder);
}

TEST(dynamic_library_loading, names_the_library_or_function_that_is_not_there) {
  const auto reason = [](const auto& action) -> std::string {
    try {
      action();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "no error";
  };
  EXPECT_NE(reason([] { dynamic_library("/no/such/library.so"); }).find("library.so: "),
            std::string::npos);
  const dynamic_library library(DECODER_LIBRARY);
  EXPECT_NE(
      reason([&] { library.function<void (*)()>("no_such_function"); }).find("no_such_function"),
      std::string::npos);
}

TEST(dynamic_library_loading, finds_the_file_of_a_library_that_is_loaded) {
  const std::filesystem::path file = DECODER_LIBRARY;
  const std::string name = file.filename().string();
  {
    const dynamic_library library(file);
    EXPECT_TRUE(std::filesystem::equivalent(platform::loaded_library_file(name.c_str()), file));
  }
  EXPECT_EQ(platform::loaded_library_file(name.c_str()), "");
  EXPECT_EQ(platform::loaded_library_file("no_such_library"), "");
}

}  // namespace
