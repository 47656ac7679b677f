#include "host/batch/trace_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/file.h"
#include "tests/support/temp_directory.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class trace_list : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& content = "12345") {
    const auto path = directory_.path() / "in" / platform::path_from_utf8(name);
    std::filesystem::create_directories(path.parent_path());
    directory_.write("in/" + name, content);
  }

  std::string in(const std::string& name) const {
    return platform::path_to_utf8(directory_.path() / "in" / platform::path_from_utf8(name));
  }

  trace_list_options options(std::vector<std::string> inputs) const {
    return {.inputs = std::move(inputs),
            .suffixes = default_trace_suffixes(),
            .output_directory = "out",
            .extension = "pcapng",
            .part = {}};
  }

  // The outputs, with "/" between directories on every system.
  static std::vector<std::string> outputs(const std::vector<listed_trace>& traces) {
    std::vector<std::string> names;
    for (const listed_trace& each : traces) {
      names.push_back(platform::path_from_utf8(each.output).generic_string());
    }
    return names;
  }

  test_support::temp_directory directory_;
};

TEST_F(trace_list, a_file_becomes_a_capture_of_its_name) {
  write("a.bin");
  const auto traces = list_traces(options({in("a.bin")}));
  ASSERT_EQ(traces.size(), 1U);
  EXPECT_EQ(traces[0].input, in("a.bin"));
  EXPECT_EQ(traces[0].bytes, 5U);
  EXPECT_THAT(outputs(traces), ElementsAre("out/a.pcapng"));
}

TEST_F(trace_list, a_directory_gives_the_traces_below_it_in_the_order_of_their_paths) {
  for (const char* const name :
       {"b.trace", "day2/a.bin", "day1/z.bin", "day1/z.bin.json", "notes.txt", "day1/c.pcapng"}) {
    write(name);
  }
  EXPECT_THAT(outputs(list_traces(options({in("")}))),
              ElementsAre("out/b.pcapng", "out/day1/z.pcapng", "out/day2/a.pcapng"));
}

TEST_F(trace_list, other_suffixes_replace_those_that_are_known) {
  write("a.bin");
  write("a.dat");
  trace_list_options asked = options({in("")});
  asked.suffixes = {".dat"};
  const auto traces = list_traces(asked);
  ASSERT_EQ(traces.size(), 1U);
  EXPECT_EQ(platform::path_from_utf8(traces[0].input).filename(), "a.dat");
}

TEST_F(trace_list, files_that_are_named_need_no_known_suffix) {
  write("a.log");
  EXPECT_THAT(outputs(list_traces(options({in("a.log"), in("none.bin")}))),
              ElementsAre("out/a.pcapng", "out/none.pcapng"));
}

TEST_F(trace_list, the_parts_of_a_list_are_the_list) {
  for (const char* const name : {"a.bin", "b.bin", "c.bin", "d.bin", "e.bin"}) write(name);
  trace_list_options asked = options({in("")});
  asked.part = {.number = 1, .count = 3};
  EXPECT_THAT(outputs(list_traces(asked)), ElementsAre("out/a.pcapng", "out/d.pcapng"));
  asked.part.number = 2;
  EXPECT_THAT(outputs(list_traces(asked)), ElementsAre("out/b.pcapng", "out/e.pcapng"));
  asked.part.number = 3;
  EXPECT_THAT(outputs(list_traces(asked)), ElementsAre("out/c.pcapng"));
  asked.part = {.number = 6, .count = 6};
  EXPECT_THAT(list_traces(asked), IsEmpty());
}

TEST_F(trace_list, two_traces_do_not_become_one_capture) {
  write("x/a.bin");
  write("y/a.trace");
  EXPECT_THAT(refusal_of(
                  [&] {
                    list_traces(options({in("x/a.bin"), in("y/a.trace")}));
                  },
                  exit_code::usage),
              AllOf(HasSubstr("a.bin and "), HasSubstr("would both become")));
}

TEST_F(trace_list, a_directory_without_traces_is_reported) {
  write("notes.txt");
  EXPECT_THAT(refusal_of([&] { list_traces(options({in("")})); }, exit_code::bad_input),
              HasSubstr("contains no file whose name ends in .bin or .trace or .bin.gz"));
}

TEST(shard, has_a_number_and_a_count) {
  EXPECT_EQ(shard_named("3/8"), (shard{3, 8}));
  EXPECT_EQ(shard_named("1/1"), (shard{1, 1}));
  for (const char* const other : {"", "3", "3/", "/8", "0/8", "9/8", "-1/8", "3/8 ", "3/8/1"}) {
    EXPECT_EQ(shard_named(other), std::nullopt) << other;
  }
}

}  // namespace
}  // namespace veltra::host
