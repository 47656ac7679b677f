#include "host/output/output_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;

TEST(output_format, is_that_of_the_names_ending) {
  for (const char* name : {"a.pcapng", "a.PCAPNG", "a.pcapng.gz", "x.y/a.b.pcapng"}) {
    EXPECT_EQ(choose_format(name, ""), "pcapng") << name;
    EXPECT_EQ(choose_format(name, "pcapng"), "pcapng") << name;
  }
  for (const char* name : {"a.jsonl", "a.jsonl.gz", "a.jsonl.GZ"}) {
    EXPECT_EQ(choose_format(name, ""), "jsonl") << name;
  }
}

TEST(output_format, is_pcapng_or_what_was_asked_for_if_the_name_says_nothing) {
  for (const char* name : {"", "a", "-", "/dev/null", "x.y/a"}) {
    EXPECT_EQ(choose_format(name, ""), "pcapng") << name;
    EXPECT_EQ(choose_format(name, "jsonl"), "jsonl") << name;
  }
  EXPECT_EQ(choose_format("a.json", "jsonl"), "jsonl");
}

TEST(output_format, another_ending_is_refused_unless_a_format_is_asked_for) {
  for (const char* name : {"a.pcap", "a.json", "a.pcapng.zst", "a.txt.gz"}) {
    EXPECT_THAT(refusal_of([&] { choose_format(name, ""); }, exit_code::usage),
                testing::AllOf(HasSubstr(name), HasSubstr(".pcapng or .jsonl")));
  }
}

TEST(output_format, a_name_that_contradicts_the_format_is_refused) {
  EXPECT_EQ(refusal_of([&] { choose_format("a.pcapng", "jsonl"); }, exit_code::usage),
            "a.pcapng is the name of a pcapng file, and --format asks for jsonl; change one of "
            "the two.");
}

TEST(output_format, gz_belongs_to_the_ending_before_it) {
  const auto parts = [](const char* name) {
    const divided_name divided = divide_name(name);
    return std::pair(divided.stem, divided.ending);
  };
  EXPECT_EQ(parts("dir/a.b.pcapng.gz"), std::pair(std::string("a.b"), std::string(".pcapng.gz")));
  EXPECT_EQ(parts("a.trace"), std::pair(std::string("a"), std::string(".trace")));
  EXPECT_EQ(parts("a"), std::pair(std::string("a"), std::string()));
  EXPECT_EQ(parts("a.gz"), std::pair(std::string("a"), std::string(".gz")));
}

}  // namespace
}  // namespace veltra::host
