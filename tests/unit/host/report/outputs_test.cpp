// Indicators, JSON, tables, the baseline, and text in HTML.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/report/baseline.h"
#include "host/report/html_text.h"
#include "host/report/indicators.h"
#include "host/report/report_csv.h"
#include "host/report/report_json.h"
#include "host/user_error.h"
#include "tests/support/temp_directory.h"
#include "tests/support/value_tests.h"

namespace veltra::report {
namespace {

using kovax::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

procedure attach_of(double milliseconds, std::optional<cause> why = std::nullopt) {
  procedure result;
  result.kind = procedure_kind::attach;
  result.end = static_cast<std::uint64_t>(milliseconds * 1e6);
  result.result = why ? procedure_result::failed : procedure_result::succeeded;
  result.outcome = why ? "rejected" : "accepted";
  result.cause = std::move(why);
  result.frames = {1, 2};
  return result;
}

analysis night(std::vector<procedure> procedures, registration state = registration::registered) {
  analysis result;
  result.file = "night/modem-1.pcapng";
  result.procedures = std::move(procedures);
  result.verdict.state = state;
  return result;
}

TEST(percentile, is_the_nearest_rank) {
  EXPECT_EQ(percentile({}, 0.5), std::nullopt);
  EXPECT_EQ(percentile({7}, 0.95), 7);
  EXPECT_EQ(percentile({4, 1, 3, 2}, 0.5), 2);
  std::vector<double> hundred;
  for (int i = 1; i <= 100; ++i) hundred.push_back(i);
  EXPECT_EQ(percentile(hundred, 0.95), 95);
}

TEST(indicators, count_what_ended_and_time_what_succeeded) {
  procedure unfinished = attach_of(1);
  unfinished.result = procedure_result::unfinished;
  const analysis all = night({attach_of(100), attach_of(300), attach_of(9, emm_cause(15)),
                              attach_of(8, emm_cause(15)), unfinished});
  const std::vector<indicator> found = find_indicators({&all, 1});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].name, "attach");
  EXPECT_EQ(found[0].count, 4U);
  EXPECT_EQ(found[0].succeeded, 2U);
  EXPECT_EQ(found[0].median_ms, 100);
  EXPECT_EQ(found[0].p95_ms, 300);
  EXPECT_THAT(found[0].causes,
              ElementsAre(std::pair("EMM #15 No suitable cells in tracking area", 2U)));
}

std::vector<std::string> texts_of(const std::vector<change>& changes) {
  std::vector<std::string> result;
  for (const change& each : changes) result.push_back(each.text());
  return result;
}

TEST(baseline, reports_what_became_worse_and_better) {
  const std::vector<analysis> before = {night({attach_of(100), attach_of(100)})};
  const std::vector<analysis> now = {
      night({attach_of(180), attach_of(5, emm_cause(22))}, registration::not_registered)};
  const baseline_comparison found = compare(before, now);
  EXPECT_THAT(texts_of(found.worse),
              ElementsAre("attach, success rate: 100.0 % before, 50.0 % now",
                          "attach, cause: never before, 1 x EMM #22 Congestion now",
                          "attach, median: 100 ms before, 180 ms now",
                          "modem-1.pcapng, state: registered before, not registered now"));
  EXPECT_THAT(found.better, IsEmpty());
  EXPECT_THAT(compare(now, before).worse, IsEmpty());
  EXPECT_EQ(compare(now, before).better.size(), 3U);
}

TEST(baseline, small_differences_are_noise) {
  const std::vector<analysis> before = {night({attach_of(10), attach_of(100)})};
  const std::vector<analysis> now = {night({attach_of(14), attach_of(115)})};
  const baseline_comparison found = compare(before, now);
  EXPECT_THAT(found.worse, IsEmpty());
  EXPECT_THAT(found.better, IsEmpty());
}

TEST(baseline, the_slowest_of_a_few_is_not_a_percentile) {
  std::vector<procedure> old_runs(19, attach_of(100));
  std::vector<procedure> new_runs(18, attach_of(100));
  new_runs.push_back(attach_of(5000));
  const std::vector<analysis> few_before = {night(old_runs)};
  const std::vector<analysis> few_now = {night(new_runs)};
  EXPECT_THAT(compare(few_before, few_now).worse, IsEmpty());
  old_runs.push_back(attach_of(100));
  new_runs.insert(new_runs.end(), 2, attach_of(5000));
  const std::vector<analysis> before = {night(old_runs)};
  const std::vector<analysis> now = {night(new_runs)};
  EXPECT_THAT(texts_of(compare(before, now).worse),
              ElementsAre("attach, 95th percentile: 100 ms before, 5.00 s now"));
}

TEST(baseline, reads_what_json_wrote) {
  analysis all = night({attach_of(123.456), attach_of(7, esm_cause(27))});
  at_command command;
  command.command = "AT+CFUN=1";
  command.result = "+CME ERROR: 30";
  command.is_error = true;
  all.at_commands = {command};
  tls_session session;
  session.end = 5'000'000;
  session.is_established = true;
  all.ip.sessions = {session};
  all.losses = {{.frame = 1, .traces = 9}};
  const test_support::temp_directory directory;
  directory.write("one.json", report_json({&all, 1}, false, nullptr));
  directory.write("notes.txt", "not a report");
  const std::vector<analysis> read = read_reports(directory.path());
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read[0].traces_lost(), 9U);
  EXPECT_THAT(compare(read, {&all, 1}).worse, IsEmpty());
  const auto as_json = [](std::span<const analysis> captures) {
    json result;
    for (const indicator& each : find_indicators(captures)) result.push_back(to_json(each));
    return result;
  };
  EXPECT_EQ(as_json(read), as_json({&all, 1}));
}

class unusable_baseline : public testing::Test, public test_support::given_value<const char*> {};

TEST_GIVEN(unusable_baseline, is_refused_with_its_name) {
  const test_support::temp_directory directory;
  directory.write("earlier.json", given());
  try {
    read_reports(directory.path());
    FAIL();
  } catch (const host::user_error& error) {
    EXPECT_EQ(error.code(), host::exit_code::bad_input);
    EXPECT_THAT(error.what(), HasSubstr("earlier.json"));
  }
}

GIVEN(text, unusable_baseline,
      {"", "{}", "[1]", R"({"format":2,"captures":[]})", R"({"format":1,"captures":[{"file":1}]})",
       R"({"format":1,"captures":[{"file":"x","state":"elsewhere"}]})"});

TEST(baseline, an_empty_directory_is_refused) {
  const test_support::temp_directory directory;
  EXPECT_THROW(read_reports(directory.path()), host::user_error);
  EXPECT_THROW(read_reports(directory.path() / "missing"), host::user_error);
}

analysis with_event(const std::string& name) {
  analysis all = night({attach_of(1, emm_cause(3))});
  message made;
  made.frame = 2;
  made.time = 1'500'000'000;
  made.layer = layer::nas;
  made.direction = direction::downlink;
  made.name = name;
  all.messages = {made};
  all.bytes.add({});
  return all;
}

TEST(report_json_test, an_event_has_its_procedure_and_cause) {
  const analysis all = with_event("Attach reject");
  const json whole = json::parse(report_json({&all, 1}, true, nullptr));
  EXPECT_EQ(whole.at("format"), 1);
  EXPECT_EQ(whole.at("captures").at(0).at("events").at(0),
            json({{"frame", 2},
                  {"time", 1'500'000'000},
                  {"layer", "nas"},
                  {"direction", "downlink"},
                  {"message", "Attach reject"},
                  {"procedure", "attach"},
                  {"cause",
                   {{"protocol", "EMM"},
                    {"number", 3},
                    {"words", "Illegal UE"},
                    {"clause", "TS 24.301 9.9.3.9"}}}}));
}

TEST(report_json_test, text_that_is_not_utf_8_is_replaced) {
  const analysis all = with_event(
      "a\xFF"
      "b");
  EXPECT_THAT(report_json({&all, 1}, true, nullptr), HasSubstr("a\xEF\xBF\xBD"
                                                               "b"));
}

TEST(report_csv_test, quotes_what_a_table_would_split) {
  const analysis all = with_event("+CGDCONT: 1,\"IP\"\nOK");
  EXPECT_EQ(events_csv({&all, 1}),
            "capture,frame,time,layer,direction,message,procedure,cause\n"
            "night/modem-1.pcapng,2,1500000000,nas,downlink,\"+CGDCONT: 1,\"\"IP\"\"\nOK\",attach,"
            "EMM #3 Illegal UE\n");
}

TEST(report_csv_test, indicators_of_several_captures_end_with_all_of_them) {
  const std::vector<analysis> both = {night({attach_of(1)}), night({attach_of(3)})};
  EXPECT_EQ(indicators_csv(both),
            "capture,indicator,count,succeeded,success_rate,median_ms,p95_ms,causes\n"
            "night/modem-1.pcapng,attach,1,1,1.0000,1.000,1.000,\n"
            "night/modem-1.pcapng,attach,1,1,1.0000,3.000,3.000,\n"
            ",attach,2,2,1.0000,1.000,3.000,\n");
}

TEST(html_text, shows_every_text_literally) {
  EXPECT_EQ(escape_html("<b a=\"'&\">"), "&lt;b a=&quot;&#39;&amp;&quot;&gt;");
  EXPECT_EQ(escape_html("é\n€\xF0\x9F\x98\x80"), "é\n€\xF0\x9F\x98\x80");
  const std::string bad = "\xEF\xBF\xBD";
  EXPECT_EQ(escape_html("\x01\x7F"), bad + bad);
  EXPECT_EQ(escape_html(std::string_view("a\0b", 3)), "a" + bad + "b");
  // Overlong "<", a surrogate, a lone continuation, a character that is cut off.
  EXPECT_EQ(escape_html("\xC0\xBC"), bad + bad);
  EXPECT_EQ(escape_html("\xED\xA0\x80"), bad + bad + bad);
  EXPECT_EQ(escape_html("\x80"), bad);
  EXPECT_EQ(escape_html("\xE2\x82"), bad + bad);
}

TEST(html_text, data_cannot_end_the_script_that_it_is_in) {
  const std::string data = json({{"name", "</script><!--"}}).dump();
  const std::string escaped = escape_script_json(data);
  EXPECT_EQ(escaped.find('<'), std::string::npos);
  EXPECT_EQ(json::parse(escaped), json::parse(data));
}

TEST(html_text, base64_is_that_of_rfc_4648) {
  EXPECT_EQ(base64(""), "");
  EXPECT_EQ(base64("f"), "Zg==");
  EXPECT_EQ(base64("fo"), "Zm8=");
  EXPECT_EQ(base64("foo"), "Zm9v");
  EXPECT_EQ(base64("foob"), "Zm9vYg==");
  EXPECT_EQ(base64("\xFF\xFE\xFD"), "//79");
}

TEST(duration_text, has_the_unit_that_a_reader_expects) {
  EXPECT_EQ(duration_text(0.04), "0.0 ms");
  EXPECT_EQ(duration_text(45.25), "45.2 ms");
  EXPECT_EQ(duration_text(367.04), "367 ms");
  EXPECT_EQ(duration_text(15'030.7), "15.03 s");
  EXPECT_EQ(duration_text(125'000), "2 min 5 s");
  EXPECT_EQ(duration_text(7'320'000), "2 h 2 min");
}

}  // namespace
}  // namespace veltra::report
