#include "platform/stream_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "platform/file.h"

namespace {

struct closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

TEST(stream_writer, a_file_takes_everything_in_a_hurry_too) {
  const std::unique_ptr<std::FILE, closer> file(platform::open_temporary_file());
  ASSERT_NE(file, nullptr);
  platform::stream_writer writer(std::chrono::milliseconds(0));
  const std::string bytes(10'000, 'x');
  EXPECT_EQ(writer.write(file.get(), bytes), 0);
  writer.hurry();
  EXPECT_EQ(writer.write(file.get(), "the end"), 0);
  ASSERT_EQ(platform::seek_file(file.get(), 0), 0);
  std::array<char, 20'000> read{};
  const std::size_t count = std::fread(read.data(), 1, read.size(), file.get());
  EXPECT_EQ(std::string(read.data(), count), bytes + "the end");
}

}  // namespace
