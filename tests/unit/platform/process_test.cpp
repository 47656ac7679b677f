// What a process has of its system: libraries, the environment, Ctrl-C.
#include <dekodrix/dekodrix.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "platform/dynamic_library.h"
#include "platform/environment.h"
#include "platform/interrupt.h"
#include "tests/support/environment_variable.h"
#include "tests/support/event_count.h"
#include "tests/support/keyboard.h"

namespace {

using platform::dynamic_library;
using platform::find_environment_variable;
using platform::interrupt_watch;
using test_support::environment_variable;

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

TEST(dynamic_library_loading, finds_functions_of_a_library_that_is_loaded) {
  const std::filesystem::path file = DECODER_LIBRARY;
  const std::string name = file.filename().string();
  EXPECT_EQ(platform::find_loaded_symbol(name.c_str(), "dekodrix_new"), nullptr);
  const dynamic_library library(file);
  EXPECT_NE(platform::find_loaded_symbol(name.c_str(), "dekodrix_new"), nullptr);
  EXPECT_EQ(platform::find_loaded_symbol(name.c_str(), "no_such_function"), nullptr);
}

TEST(environment, an_empty_variable_differs_from_one_that_is_not_set) {
  const environment_variable a("VELTRA_TEST_A", "value");
  const environment_variable b("VELTRA_TEST_B", "");
  const environment_variable c("VELTRA_TEST_C", std::nullopt);
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_A"), "value");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_B"), "");
  EXPECT_EQ(find_environment_variable("VELTRA_TEST_C"), std::nullopt);
}

TEST(environment, a_name_that_no_variable_can_have_is_not_found) {
  const environment_variable a("VELTRA_TEST_A", "value");
  EXPECT_EQ(find_environment_variable(""), std::nullopt);
  EXPECT_EQ(find_environment_variable(std::string("VELTRA_TEST_A\0B", 15)), std::nullopt);
}

TEST(interrupt, each_ctrl_c_becomes_a_call) {
  const test_support::keyboard keyboard;
  test_support::event_count calls;
  const interrupt_watch watch([&] { calls.add(); });
  keyboard.press_ctrl_c();
  calls.take();
  keyboard.press_ctrl_c();
  calls.take();
}

}  // namespace
