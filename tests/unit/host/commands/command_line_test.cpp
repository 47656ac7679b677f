#include "host/commands/command_line.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/captured_stdout.h"
#include "tests/unit/host/run/run_fixture.h"

namespace veltra::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using arguments = std::vector<std::string>;

class command_line_test : public run_test {
 protected:
  // What is reported of a command line that is wrong.
  std::string usage_failure_of(const arguments& words) {
    EXPECT_EQ(veltra(words), exit_code::usage);
    return printed_;
  }

  // The parameters that reach the plug-in from `command` and more options.
  json parameters_of(arguments command, const arguments& more) {
    script({{"log_parameters", true},
            {"logs", {"check database at path: d"}},  // a cache without any is a failure
            {"steps", {raw_step, packet_step("ip", "E")}}});
    for (const char* word : {"-v", "--plugin", options_.plugin.c_str(), "-o"}) {
      command.emplace_back(word);
    }
    command.push_back(name_of("out"));
    command.insert(command.end(), more.begin(), more.end());
    EXPECT_EQ(veltra(command), exit_code::ok);
    constexpr std::string_view label = "[2] {";
    EXPECT_THAT(printed_, StartsWith(std::string(label)));
    return json::parse(printed_.substr(label.size() - 1, printed_.find('\n') - label.size() + 1));
  }
  json decode_parameters(const arguments& more) {
    return parameters_of({"decode", name_of("trace.bin")}, more);
  }
  json capture_parameters(const arguments& more) {
    return parameters_of({"capture", "--port", name_of("trace.bin")}, more);
  }
};

TEST_F(command_line_test, the_parameters_of_a_decode) {
  EXPECT_EQ(decode_parameters({"-d", "d.json"}), (json{{"file_path", name_of("trace.bin")},
                                                       {"log_statistics", true},
                                                       {"db_file_path", "d.json"},
                                                       {"chunk_size", 65536}}));
  EXPECT_EQ(decode_parameters({"-d", "d.json", "--chunk-size", "1073741824"}).at("chunk_size"),
            1 << 30);
}

TEST_F(command_line_test, the_parameters_of_a_capture) {
  const json defaults = capture_parameters({"-d", "d.json"});
  EXPECT_EQ(defaults.at("chunk_size"), 1);
  EXPECT_EQ(defaults.at("serialport"),
            serial_input({.port = name_of("trace.bin")}).parameters().at("serialport"));
  EXPECT_EQ(capture_parameters({"-d", "d.json", "--baud-rate", "921600", "--data-bits", "7",
                                "--stop-bits", "1.5", "--parity", "even", "--flow-control", "hw"})
                .at("serialport")
                .at("settings"),
            (json{{"baud_rate", 921600},
                  {"data_bits", 7},
                  {"stop_bits", 1.5},
                  {"parity", "even"},
                  {"flow_control", "hw"}}));
}

TEST_F(command_line_test, locations_of_a_catalogue_are_tried_in_their_order) {
  const test_support::captured_stdout lines_of_the_sync;
  try {
    veltra({"db", "sync", "--cache", name_of("c"), "--update", "--location", "file:///no/b",
            "--location", "${root}a", "--root", "file:///no", "--timeout", "5"});
    ADD_FAILURE() << "no error";
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), exit_code::bad_input);
    EXPECT_THAT(error.what(), testing::ContainsRegex("file:///no/b \\(.*\\), "
                                                     "\\$\\{root\\}a \\(file:///no/a: "));
  }
}

TEST_F(command_line_test, options_of_a_catalogue_need_the_cache_and_an_update_a_location) {
  for (const char* option : {"--location", "--root", "--proxy", "--timeout"}) {
    EXPECT_THAT(usage_failure_of({"decode", "t", "-d", "d.json", option, "7"}),
                HasSubstr(std::string(option) + " requires --cache"));
  }
  EXPECT_THAT(usage_failure_of({"decode", "t", "--cache", "c", "--update"}),
              HasSubstr("--update requires --location"));
}

TEST_F(command_line_test, values_that_no_line_has_are_refused) {
  const std::vector<arguments> refused = {
      {"--baud-rate", "0"}, {"--baud-rate", "-1"}, {"--baud-rate", "4294967296"},
      {"--data-bits", "4"}, {"--data-bits", "9"},  {"--stop-bits", "3"},
      {"--parity", "mark"}, {"--parity", "ODD"},   {"--flow-control", "rtscts"}};
  for (const arguments& option : refused) {
    EXPECT_THAT(usage_failure_of({"capture", "-p", "x", "--raw", "y", option[0], option[1]}),
                StartsWith("veltra: " + option[0]));
  }
  EXPECT_THAT(usage_failure_of({"capture", "--raw", "y"}), HasSubstr("PORT or --port is required"));
}

TEST_F(command_line_test, a_capture_takes_its_port_without_an_option) {
  script({{"log_parameters", true}, {"steps", {raw_step}}});
  EXPECT_EQ(veltra({"capture", name_of("trace.bin"), "--raw", name_of("raw"), "--plugin",
                    options_.plugin}),
            exit_code::ok);
  EXPECT_EQ(content(at("raw")), "12345");
  EXPECT_THAT(usage_failure_of({"capture", "x", "--all", "--raw"}), HasSubstr("--all"));
}

TEST_F(command_line_test, names_must_not_be_empty) {
  const std::vector<arguments> lines = {{"decode", ""},
                                        {"decode", "t", "--database", ""},
                                        {"decode", "t", "--cache", ""},
                                        {"decode", "t", "--cache", "c", "--location", ""},
                                        {"decode", "t", "--cache", "c", "--root", ""},
                                        {"decode", "t", "--output", ""},
                                        {"decode", "t", "--plugin", ""},
                                        {"capture", "--port", ""},
                                        {"capture", "--port", "x", "--raw", ""},
                                        {"db", "list", "--cache", ""},
                                        {"db", "show", ""}};
  for (const arguments& line : lines) {
    EXPECT_THAT(usage_failure_of(line),
                AllOf(HasSubstr(": the name is empty; see veltra "), HasSubstr(" --help.\n")));
  }
}

TEST_F(command_line_test, an_empty_word_is_not_expected) {
  EXPECT_THAT(usage_failure_of({"explain", "t", ""}), HasSubstr("was not expected"));
  EXPECT_THAT(usage_failure_of({"decode", "t", ""}), HasSubstr("TRACE: the name is empty"));
  EXPECT_THAT(usage_failure_of({"capture", "-p", "x", "", "--location"}), HasSubstr("--location"));
}

TEST_F(command_line_test, what_is_wrong_is_reported_in_one_line_that_controls_no_terminal) {
  EXPECT_EQ(usage_failure_of({"decod\x1b"}),
            "veltra: \"decod?\" is not a command; did you mean decode? See veltra --help.\n");
  EXPECT_EQ(usage_failure_of({"\x1b"}), "veltra: \"?\" is not a command; see veltra --help.\n");
}

TEST_F(command_line_test, a_name_that_does_not_exist_is_answered_with_the_one_that_was_meant) {
  EXPECT_EQ(usage_failure_of({"--verbos"}),
            "veltra: \"--verbos\" is not an option; did you mean --verbose? See veltra --help.\n");
  EXPECT_EQ(usage_failure_of({"db", "lists"}),
            "veltra: \"lists\" is not a command; did you mean list? See veltra db --help.\n");
  EXPECT_EQ(usage_failure_of({"decode", "t", "--databse=x"}),
            "veltra: \"--databse\" is not an option; did you mean --database? "
            "See veltra decode --help.\n");
  EXPECT_EQ(usage_failure_of({"db", "list", "--cach", "x"}),
            "veltra: \"--cach\" is not an option; did you mean --cache? See veltra db list "
            "--help.\n");
}

TEST_F(command_line_test, help_and_version_go_to_standard_output) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(veltra({"--version"}), exit_code::ok);
  EXPECT_EQ(veltra({"decode", "--help"}), exit_code::ok);
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              AllOf(StartsWith("veltra "), HasSubstr("--database")));
  EXPECT_THAT(printed_, IsEmpty());
}

// --- capture
// --------------------------------------------------------------------------------------

TEST_F(command_line_test, a_capture_without_anything_to_write_is_refused) {
  EXPECT_THAT(refusal_of(
                  [&] {
                    veltra({"capture", "-p", "x"});
                  },
                  exit_code::usage),
              HasSubstr("there is nothing to write"));
  EXPECT_THAT(refusal_of(
                  [&] {
                    veltra({"capture", "-p", "x", "--raw", "y", "-o", "z"});
                  },
                  exit_code::usage),
              HasSubstr("z cannot be written without a trace database"));
}

TEST_F(command_line_test, two_uses_of_one_name_are_refused) {
  const std::vector<arguments> lines = {
      {"--raw", "x", "-o", "./x"}, {"--raw", "-", "-o", "-"}, {"-o", "port"},
      {"--raw", "port"},           {"--raw", "d.json"},       {"-o", "d.json"}};
  for (arguments line : lines) {
    const arguments begin = {"capture", "-p", "port", "-d", "d.json"};
    line.insert(line.begin(), begin.begin(), begin.end());
    EXPECT_THAT(refusal_of([&] { veltra(line); }, exit_code::usage),
                HasSubstr(" cannot be both an output and "));
  }
}

TEST_F(command_line_test, a_raw_trace_is_replaced_only_on_request) {
  script({{"steps", {raw_step}}});
  directory_.write("raw", "before");
  arguments line = {"capture",      "-p",       name_of("trace.bin"), "--raw",
                    name_of("raw"), "--plugin", options_.plugin};
  EXPECT_THAT(refusal_of([&] { veltra(line); }, exit_code::usage),
              StartsWith(name_of("raw") + " exists; "));
  EXPECT_EQ(content(at("raw")), "before");
  line.emplace_back("--overwrite");
  EXPECT_EQ(veltra(line), exit_code::ok);
  EXPECT_EQ(content(at("raw")), "12345");
}

TEST_F(command_line_test, outputs_that_are_not_named_are_named_after_the_port) {
  script({{"steps", {raw_step, packet_step("ip", "E")}}});
  const test_support::working_directory here(directory_.path());
  EXPECT_EQ(
      veltra({"capture", "-p", "trace.bin", "-d", "d.json", "--raw", "--plugin", options_.plugin}),
      exit_code::ok);
  EXPECT_THAT(
      names(),
      ElementsAre(AllOf(StartsWith("capture-trace.bin-"), testing::EndsWith("Z.pcapng")),
                  AllOf(StartsWith("capture-trace.bin-"), testing::EndsWith("Z.trace")),
                  AllOf(StartsWith("capture-trace.bin-"), testing::EndsWith("Z.trace.json")),
                  "trace.bin"));
}

TEST_F(command_line_test, without_a_terminal_a_capture_reports_its_start_and_shows_no_counters) {
  script({{"steps", {port_step, raw_step, packet_step("ip", "E")}}});
  EXPECT_EQ(veltra({"capture", "-p", name_of("trace.bin"), "-d", "d.json", "-o", name_of("out"),
                    "--plugin", options_.plugin}),
            exit_code::ok);
  EXPECT_THAT(printed_, AllOf(StartsWith("veltra: " + name_of("trace.bin") +
                                         ": recording; database d.json; files " + name_of("out") +
                                         "\n" + name_of("out") + ": 1 packet"),
                              Not(HasSubstr("\r"))));
}

}  // namespace
}  // namespace veltra::host
