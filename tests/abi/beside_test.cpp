// The plug-in with the decoder that lies beside it. Runs without a library
// search path in the environment.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

#include "platform/dynamic_library.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "tests/support/database_builder.h"
#include "tests/support/library_file.h"
#include "tests/support/plugin_library.h"
#include "tests/support/temp_directory.h"

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

void keep_last(kovax_source*, void* user_data, std::int32_t level, const char* message) {
  *static_cast<std::pair<std::int32_t, std::string>*>(user_data) = {level, message};
}

TEST(beside_test, it_counts_a_frame_that_the_trace_cuts) {
  const test_support::temp_directory directory;
  kovax::json database = test_support::conversion_database();
  database["meta"]["connection_configs"]["dekodrix_config"] = kovax::json::parse(
      R"({"format": "veltra-frames", "version": 1, "masters": [{"id": 33, "aliases": []}]})");
  const auto file = [&](const char* name, const std::string& content) {
    return platform::path_to_utf8(directory.write(name, content));
  };
  const std::string parameters = kovax::json{
      {"file_path", file("trace.bin", "~damaged~cut")},
      {"db_file_path", file("database.json", database.dump())},
      {"log_statistics", true}}.dump();
  std::pair<std::int32_t, std::string> last_log;
  const kovax_source_init_args arguments{parameters.c_str(), &last_log, keep_last, nullptr,
                                         nullptr};
  kovax_source* source = nullptr;
  ASSERT_EQ(test_support::plugin().init(&source, &arguments), 0);
  EXPECT_EQ(test_support::plugin().start(source, nullptr, nullptr), 0);
  EXPECT_EQ(test_support::plugin().release(source), 0);
  EXPECT_EQ(last_log.first, KOVAX_LOG_PROGRESS);
  EXPECT_EQ(last_log.second,
            R"(dekodrix statistics: {"frames_found":1,"frames_intact":0,"frames_damaged":1,)"
            R"("frames_of_unknown_masters":0,"bytes_outside_frames":0,)"
            R"("bytes_of_unfinished_frame":3})");
}

}  // namespace
