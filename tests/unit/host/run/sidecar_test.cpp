#include "host/run/sidecar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "implementation/json.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/output/file_content.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using kovax::json;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr utc_time anchor_time = 1'714'564'800'000'000'000;

class sidecar_test : public testing::Test {
 protected:
  std::optional<sidecar> read(const std::string& text) {
    directory_.write("trace.bin.json", text);
    return read_sidecar(path_);
  }

  test_support::temp_directory directory_;
  std::filesystem::path path_ = directory_.path() / "trace.bin.json";
};

TEST_F(sidecar_test, its_name_is_that_of_the_trace_with_json_behind_it) {
  EXPECT_EQ(sidecar_path("a/trace.bin"), "a/trace.bin.json");
  EXPECT_EQ(sidecar_path("trace"), "trace.json");
}

TEST_F(sidecar_test, what_is_written_is_read) {
  const sidecar content{
      "u-1", {{anchor_time + 1, 20'000'000, 4096}, {anchor_time + 5, ~std::uint64_t{0}, 1U << 31}}};
  EXPECT_FALSE(write_sidecar(path_, content));
  EXPECT_EQ(read_sidecar(path_), content);
  EXPECT_THAT(names_in(directory_.path()), ElementsAre("trace.bin.json"));
}

TEST_F(sidecar_test, the_format_is_as_documented) {
  write_sidecar(path_,
                {"u-1", {{anchor_time + 123'456'789, 20, 4096}, {anchor_time, std::nullopt, 0}}});
  EXPECT_EQ(json::parse(content(path_)), json::parse(R"({
    "format": "veltra-trace", "version": 1, "uuid": "u-1",
    "anchors": [
      {"time_base": "2024-05-01T12:00:00.123456789Z", "modem_time": 20, "offset": 4096},
      {"time_base": "2024-05-01T12:00:00.000000000Z", "offset": 0}]})"));
}

TEST_F(sidecar_test, it_replaces_an_earlier_one) {
  directory_.write("trace.bin.json", "before");
  EXPECT_FALSE(write_sidecar(path_, {"u-2", {{anchor_time, 1, 0}}}));
  EXPECT_EQ(read_sidecar(path_)->uuid, "u-2");
}

TEST_F(sidecar_test, a_place_that_takes_no_file_is_reported) {
  EXPECT_TRUE(write_sidecar(directory_.path() / "no" / "trace.json", {}));
}

TEST_F(sidecar_test, another_file_of_the_name_is_not_a_sidecar) {
  EXPECT_EQ(read_sidecar(path_), std::nullopt) << "there is none";
  for (const char* text : {"", "{", "[]", "7", R"({"format":"other","version":1})",
                           R"({"version":1,"anchors":[]})", R"({"format":1})"}) {
    EXPECT_EQ(read(text), std::nullopt) << text;
  }
  EXPECT_EQ(read(std::string(2 << 20, ' ') + R"({"format":"veltra-trace"})"), std::nullopt);
  std::filesystem::remove(path_);
  std::filesystem::create_directory(path_);
  EXPECT_EQ(read_sidecar(path_), std::nullopt);
}

TEST_F(sidecar_test, a_sidecar_that_is_not_understood_is_refused) {
  const std::string start = R"({"format":"veltra-trace",)";
  for (const char* rest :
       {R"("version":2,"anchors":[{"time_base":"2024-05-01T12:00:00Z"}]})", R"("version":1})",
        R"("version":1,"anchors":[]})", R"("version":1,"anchors":7})",
        R"("version":1,"anchors":[{}]})", R"("version":1,"anchors":[{"time_base":"anchor_time"}]})",
        R"("version":1,"anchors":[{"time_base":"2024-05-01T12:00:00Z","modem_time":-1}]})"}) {
    EXPECT_THAT(refusal_of([&] { read(start + rest); }, exit_code::bad_input),
                HasSubstr("trace.bin.json does not say when the trace was recorded"))
        << rest;
  }
}

}  // namespace
}  // namespace veltra::host
