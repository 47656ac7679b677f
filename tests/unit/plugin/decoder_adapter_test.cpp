#include "plugin/decoder_adapter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tests/support/temp_directory.h"

namespace {

using veltra::decoder_adapter;

// Runs against the open decoder.
class adapter : public ::testing::Test {
 protected:
  std::filesystem::path write(const std::string& name, const std::string& text) {
    return own.write(name, text);
  }

  static std::string database(const std::string& uuid, const std::string& decoder) {
    return R"({"meta": {"id": 3, "endianness": "little", "trace_id_size": 2, "uuid": ")" + uuid +
           R"(", "trace_type_descriptors": [], "decoder_config": )" + decoder + "}}";
  }

  static constexpr const char* configuration =
      R"({"format": "veltra-frames", "version": 1, "masters": [{"id": 3, "aliases": []}]})";

  // One frame of master 3 with an empty payload, as docs/frame-format.md has it.
  static std::string frame() {
    return std::string("\x7E\x01\x03\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 18) + std::string(fcs) +
           "\x7E";
  }

  std::string failure(const std::filesystem::path& path) {
    try {
      sut.configure(path, {});
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "no failure";
  }

  static constexpr std::string_view fcs = "\x0C\x8E\x81\x67";
  const test_support::temp_directory own;
  const std::filesystem::path& directory = own.path();
  const std::unique_ptr<decoder_adapter> owned = std::make_unique<decoder_adapter>();
  decoder_adapter& sut = *owned;
};

TEST_F(adapter, is_not_ready_before_a_database_was_loaded) {
  EXPECT_FALSE(sut.ready());
  EXPECT_EQ(sut.database_path(), "");
}

TEST_F(adapter, a_new_database_replaces_decoder_and_collection) {
  sut.configure(write("a.json", database("first", configuration)), {});
  sut.feed(frame());
  EXPECT_EQ(sut.pending_traces(), 1U);

  const std::filesystem::path second = write("b.json", database("second", configuration));
  sut.configure(second, {});
  EXPECT_EQ(sut.pending_traces(), 0U);
  EXPECT_EQ(sut.collection().uuid, "second");
  EXPECT_EQ(sut.collection().configs().size(), 1U);
  EXPECT_EQ(sut.database_path(), second.string());
  sut.feed(frame());
  const veltra::decoded_trace trace = sut.next_trace();
  ASSERT_NE(trace, nullptr);
  EXPECT_EQ(trace->master_id, 3U);
  EXPECT_EQ(sut.next_trace(), nullptr);
}

TEST_F(adapter, a_refused_configuration_leaves_the_new_decoder_and_the_old_collection) {
  sut.configure(write("a.json", database("first", configuration)), {});
  EXPECT_EQ(failure(write("b.json", database("second", "{}"))), "dekodrix config failed to set");
  EXPECT_TRUE(sut.ready());
  EXPECT_EQ(sut.collection().uuid, "first");
  sut.feed(frame());
  EXPECT_EQ(sut.pending_traces(), 0U) << "the decoder is not a new one";
}

TEST_F(adapter, an_unreadable_database_changes_nothing) {
  EXPECT_EQ(failure(directory / "none.json"),
            "veltra plugin cannot open trace file at " + (directory / "none.json").string());
  EXPECT_EQ(failure(write("a.JSON", "{}")), "Database file extension needs to be .gz or .json");
  EXPECT_EQ(failure(write("a.json", "{}")), "Trace database has missing fields or is invalid");
  std::filesystem::create_directory(directory / "folder.json");
  EXPECT_EQ(failure(directory / "folder.json"),
            "veltra plugin cannot open trace file at " + (directory / "folder.json").string());
  EXPECT_FALSE(sut.ready());
}

}  // namespace
