#include "host/commands/help_format.h"

#include <gmock/gmock.h>

#include "tests/unit/host/commands/command_tree.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using help_format_test = command_tree_test;

TEST_F(help_format_test, every_line_of_every_commands_help_fits_100_columns) {
  const std::vector<std::vector<std::string>> commands = all_commands();
  EXPECT_GT(commands.size(), 20u);
  for (const std::vector<std::string>& command : commands) {
    std::istringstream lines(help_of(command));
    for (std::string line; std::getline(lines, line);) {
      EXPECT_LE(line.size(), 100u) << testing::PrintToString(command) << ": " << line;
    }
  }
}

TEST_F(help_format_test, every_command_that_works_on_something_has_an_example) {
  for (const char* const command :
       {"decode", "capture", "explain", "report", "recover", "doctor", "db", "simulate"}) {
    EXPECT_THAT(help_of({command}), testing::ContainsRegex("Examples?:\n  veltra "));
  }
}

TEST_F(help_format_test, help_of_a_command_is_that_of_its_option) {
  EXPECT_EQ(help_of({"db", "sync"}), output_of({"db", "sync", "--help"}));
  EXPECT_EQ(help_of({}), output_of({"--help"}));
  EXPECT_EQ(refusal_of(
                [&] {
                  veltra({"help", "decdoe"});
                },
                exit_code::usage),
            "\"decdoe\" is not a command; did you mean decode? See veltra --help.");
}

TEST_F(help_format_test, options_are_in_groups_with_their_values_and_defaults) {
  const std::string help = help_of({"capture"});
  EXPECT_THAT(help, StartsWith("Record and decode a modem's trace live from a serial port\n\n"
                               "Usage: veltra capture [PORT...] [OPTIONS]\n\n"
                               "Arguments:\n"
                               "  PORT                        Serial port, such as"));
  EXPECT_THAT(
      help, AllOf(HasSubstr("\nSerial port:\n  -p, --port DEV "),
                  HasSubstr("\n      --parity none|odd|even  Parity bit"),
                  HasSubstr("Bits per second (default: 1000000)\n"), HasSubstr("\n  -b KEY:VALUE "),
                  HasSubstr("\n      --sync-interval SECONDS\n"), HasSubstr("\nOutput:\n"),
                  HasSubstr("\nOther options:\n"), HasSubstr("\n  -h, --help "),
                  Not(HasSubstr("Excludes"))));
}

}  // namespace
}  // namespace veltra::host
