// A whole run: what is written where, what is said, and how it ends.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/report/report.h"
#include "host/report/tshark_reader.h"
#include "host/user_error.h"
#include "implementation/json.h"
#include "tests/integration/report/example_capture.h"
#include "tests/support/environment_variable.h"
#include "tests/support/temp_directory.h"

namespace veltra::report {
namespace {

namespace fs = std::filesystem;
using host::exit_code;
using kovax::json;
using test_support::make_capture;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class report_run : public testing::Test {
 protected:
  report_run() {
    options_.print = [this](std::string_view line) { said_ += line; };
    options_.output = path("report.html");
  }

  fs::path path(const std::string& name) const { return directory_.path() / name; }

  static std::string read(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // The failure of a run that must not succeed.
  host::user_error failure() {
    try {
      make_report(options_);
    } catch (const host::user_error& error) {
      return error;
    }
    ADD_FAILURE() << "the run succeeded";
    return {exit_code::ok, ""};
  }

  static bool has_tshark() { return !find_tshark("").empty(); }

  test_support::temp_directory directory_;
  report_options options_;
  std::string said_;
};

TEST_F(report_run, without_tshark_the_report_has_layers_and_says_why) {
  options_.inputs = {make_capture(directory_.path(), "sessions/attach_reject_15")};
  const test_support::environment_variable no_programs("PATH", "/nonexistent");
  EXPECT_EQ(make_report(options_), exit_code::ok);
  EXPECT_THAT(said_, StartsWith("veltra: note: tshark is not installed, so that messages have no "
                                "names and nothing is recognised: install Wireshark's tshark and "
                                "make the report again.\n"));
  const std::string page = read(options_.output);
  EXPECT_THAT(page, HasSubstr("tshark is not installed"));
  EXPECT_THAT(page, HasSubstr("lte_rrc.dl_dcch"));
  EXPECT_THAT(page, HasSubstr("AT+CFUN=1"));
}

TEST_F(report_run, one_capture_as_json_has_its_events) {
  if (!has_tshark()) GTEST_SKIP();
  options_.inputs = {make_capture(directory_.path(), "sessions/attach_reject_15")};
  options_.output = path("report.json");
  options_.format = output_format::json;
  EXPECT_EQ(make_report(options_), exit_code::ok);
  const json whole = json::parse(read(options_.output));
  const json& capture = whole.at("captures").at(0);
  EXPECT_EQ(capture.at("state"), "registered");
  EXPECT_EQ(capture.at("headline"), "Registered: the second attach was accepted, in 367 ms");
  EXPECT_EQ(capture.at("cell").at("tac"), 0x27);
  EXPECT_EQ(capture.at("events").size(), 57U);
  EXPECT_EQ(capture.at("events").at(0).at("direction"), "command");
  EXPECT_EQ(capture.at("events").at(1).at("direction"), "answer");
  EXPECT_EQ(capture.at("events").at(23).at("cause").at("number"), 15);
  EXPECT_THAT(said_, HasSubstr("Registered: the second attach was accepted, in 367 ms.\n"));
}

TEST_F(report_run, tables_are_three_files) {
  if (!has_tshark()) GTEST_SKIP();
  options_.inputs = {make_capture(directory_.path(), "sessions/handover")};
  options_.output = path("drive.csv");
  options_.format = output_format::csv;
  EXPECT_EQ(make_report(options_), exit_code::ok);
  EXPECT_THAT(read(path("drive.csv")), StartsWith("capture,frame,"));
  EXPECT_THAT(read(path("drive.procedures.csv")), HasSubstr(",handover,21,22,"));
  EXPECT_THAT(read(path("drive.indicators.csv")), HasSubstr(",handover,1,1,1.0000,41.1"));
}

TEST_F(report_run, several_captures_are_rows_of_one_page) {
  if (!has_tshark()) GTEST_SKIP();
  options_.inputs = {make_capture(directory_.path(), "sessions/timeout"),
                     make_capture(directory_.path(), "sessions/tau_reject")};
  EXPECT_EQ(make_report(options_), exit_code::ok);
  const std::string page = read(options_.output);
  EXPECT_THAT(page, HasSubstr("1 of 2 captures end registered or in service"));
  EXPECT_THAT(page, HasSubstr("Registered: attach accepted in 377 ms"));
  EXPECT_THAT(page, HasSubstr("EMM #10 Implicitly detached"));
}

TEST_F(report_run, what_became_worse_gives_an_exit_code) {
  if (!has_tshark()) GTEST_SKIP();
  const fs::path good = make_capture(directory_.path(), "sessions/authentication_failure");
  fs::create_directory(path("baseline"));
  options_.inputs = {good};
  options_.output = path("baseline/monday.json");
  options_.format = output_format::json;
  ASSERT_EQ(make_report(options_), exit_code::ok);

  options_.output = path("tuesday.html");
  options_.format = output_format::html;
  options_.baseline = path("baseline");
  EXPECT_EQ(make_report(options_), exit_code::ok);
  EXPECT_THAT(said_, HasSubstr("nothing became worse\n"));
  EXPECT_THAT(read(options_.output), HasSubstr("Nothing became worse than in the baseline"));

  const fs::path bad = make_capture(directory_.path(), "sessions/timeout");
  fs::rename(bad, good);
  EXPECT_EQ(make_report(options_), exit_code::worse);
  EXPECT_THAT(said_, HasSubstr("worse: authentication_failure.pcapng, state: registered before, "
                               "not registered now\n"));
}

TEST_F(report_run, a_trace_is_decoded_first_and_keeps_its_name) {
  const fs::path capture = make_capture(directory_.path(), "sessions/handover");
  const fs::path trace = path("handover.bin");
  options_.inputs = {trace};
  fs::path decoded;
  options_.decode = [&](const fs::path& from, const fs::path& to) {
    EXPECT_EQ(from, trace);
    fs::copy_file(capture, to);
    decoded = to;
  };
  EXPECT_EQ(make_report(options_), exit_code::ok);
  EXPECT_THAT(read(options_.output), HasSubstr("<h1>handover.bin</h1>"));
  EXPECT_FALSE(fs::exists(decoded.parent_path()));
}

TEST_F(report_run, a_trace_that_nothing_decodes_is_refused) {
  make_capture(directory_.path(), "sessions/handover");
  options_.inputs = {path("handover.bin")};
  EXPECT_THAT(failure().what(), HasSubstr("it is not a pcapng file"));
  EXPECT_FALSE(fs::exists(options_.output));
}

TEST_F(report_run, refuses_outputs_that_are_inputs_and_inputs_that_are_not_there) {
  options_.inputs = {path("missing.pcapng")};
  EXPECT_EQ(failure().code(), exit_code::bad_input);
  options_.output = options_.inputs[0];
  EXPECT_EQ(failure().code(), exit_code::usage);
  options_.inputs = {"-"};
  EXPECT_EQ(failure().code(), exit_code::usage);
  options_.inputs.clear();
  EXPECT_EQ(failure().code(), exit_code::usage);
}

TEST_F(report_run, a_named_tshark_must_be_a_program) {
  options_.inputs = {make_capture(directory_.path(), "sessions/handover")};
  options_.tshark = "/nonexistent/tshark";
  EXPECT_THAT(failure().what(), HasSubstr("/nonexistent/tshark is not a program"));
}

TEST_F(report_run, a_capture_that_is_cut_off_is_reported_with_what_it_has) {
  if (!has_tshark()) GTEST_SKIP();
  const fs::path capture = make_capture(directory_.path(), "sessions/handover");
  fs::resize_file(capture, fs::file_size(capture) - 700);
  options_.inputs = {capture};
  EXPECT_EQ(make_report(options_), exit_code::ok);
  EXPECT_THAT(read(options_.output), HasSubstr("The capture is cut off inside a frame."));
}

TEST_F(report_run, an_empty_capture_is_an_empty_report) {
  if (!has_tshark()) GTEST_SKIP();
  // The section header alone.
  options_.inputs = {directory_.write(
      "empty.pcapng",
      std::string_view("\x0A\x0D\x0D\x0A\x1C\x00\x00\x00\x4D\x3C\x2B\x1A\x01\x00\x00\x00"
                       "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x1C\x00\x00\x00",
                       28))};
  EXPECT_EQ(make_report(options_), exit_code::ok);
  EXPECT_THAT(read(options_.output), HasSubstr("The trace has no attach"));
  EXPECT_THAT(read(options_.output), Not(HasSubstr("<canvas")));
}

}  // namespace
}  // namespace veltra::report
