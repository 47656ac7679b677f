// How an earlier decoder is given back, against the scripted decoding library.
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "plugin/decoder_adapter.h"
#include "tests/support/scripted_dekodrix.h"
#include "tests/support/temp_directory.h"
#include "tests/support/this_process.h"

namespace {

std::vector<const dekodrix*> handles_of(scripted_function function) {
  std::vector<const dekodrix*> handles;
  for (std::size_t index = 0; index < scripted_dekodrix_call_count(); ++index) {
    const scripted_call call = scripted_dekodrix_call(index);
    if (call.function == function) handles.push_back(call.handle);
  }
  return handles;
}

class replaced_decoder : public ::testing::Test {
 protected:
  void SetUp() override { scripted_dekodrix_clear(); }

  void load() { adapter->configure(database, {}); }

  const test_support::temp_directory directory;
  const std::filesystem::path database = directory.write("db.json", R"({"meta": {
      "id": 3, "endianness": "little", "trace_id_size": 2, "trace_type_descriptors": [],
      "decoder_config": {}}})");
  std::unique_ptr<veltra::decoder_adapter> adapter = std::make_unique<veltra::decoder_adapter>();
};

TEST_F(replaced_decoder, is_not_deleted_through_the_library) {
  load();
  load();
  EXPECT_EQ(handles_of(scripted_new).size(), 2U);
  EXPECT_TRUE(handles_of(scripted_delete).empty());
}

TEST_F(replaced_decoder, leaves_the_second_one_to_be_deleted_at_the_end) {
  load();
  load();
  const auto made = handles_of(scripted_new);
  ASSERT_EQ(made.size(), 2U);
  adapter.reset();
  EXPECT_EQ(handles_of(scripted_delete), std::vector<const dekodrix*>{made[1]});
}

TEST_F(replaced_decoder, is_given_back_even_if_no_new_one_could_be_made) {
  load();
  scripted_dekodrix_return_no_handle();
  EXPECT_THROW(load(), std::runtime_error);
  EXPECT_FALSE(adapter->ready());
  adapter.reset();
  EXPECT_TRUE(handles_of(scripted_delete).empty());
}

TEST_F(replaced_decoder, is_freed) {
  constexpr int rounds = 500;
  // Below what one forgotten object a round would come to.
  constexpr std::size_t tolerance = 6000;
  scripted_dekodrix_record_calls(false);
  for (int round = 0; round < 10; ++round) load();
  const std::size_t before = test_support::heap_bytes_in_use();
  for (int round = 0; round < rounds; ++round) load();
  EXPECT_LT(test_support::heap_bytes_in_use(), before + tolerance);
}

}  // namespace
