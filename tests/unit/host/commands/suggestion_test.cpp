#include "host/commands/suggestion.h"

#include <gtest/gtest.h>

namespace veltra::host {
namespace {

const std::vector<std::string> known_commands = {"decode", "capture", "devices", "doctor", "db"};

TEST(suggestion, a_letter_too_many_too_few_another_or_swapped_is_seen_through) {
  for (const char* const word : {"decodee", "decde", "decide", "deocde"}) {
    EXPECT_EQ(closest_name(word, known_commands), "decode") << word;
  }
}

TEST(suggestion, the_beginning_of_a_name_is_enough) {
  EXPECT_EQ(closest_name("cap", known_commands), "capture");
  EXPECT_EQ(closest_name("ca", known_commands), "");
}

TEST(suggestion, the_nearest_of_several_is_taken) {
  EXPECT_EQ(closest_name("device", known_commands), "devices");
  EXPECT_EQ(closest_name("docter", known_commands), "doctor");
}

TEST(suggestion, nothing_is_suggested_for_another_word) {
  for (const std::string& word : {std::string(), std::string("play"), std::string(100'000, 'd')}) {
    EXPECT_EQ(suggest(word, known_commands, "veltra --help"), "; see veltra --help.");
  }
  EXPECT_EQ(suggest("bd", known_commands, "veltra --help"),
            "; did you mean db? See veltra --help.");
}

}  // namespace
}  // namespace veltra::host
