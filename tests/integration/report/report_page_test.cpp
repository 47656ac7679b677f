// The page of a report in a browser: it runs without errors and without a network, filters,
// follows its address, and stays small with many messages.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "host/report/report.h"
#include "host/report/tshark_reader.h"
#include "platform/environment.h"
#include "tests/integration/report/browser.h"
#include "tests/integration/report/example_capture.h"
#include "tests/support/temp_directory.h"

namespace veltra::report {
namespace {

using kovax::json;
using test_support::browser;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* key_down = "\uE015";
constexpr const char* key_end = "\uE010";

class report_page_test : public testing::Test {
 protected:
  void SetUp() override {
    if (!browser::is_installed()) GTEST_SKIP() << "chromium and chromium-driver are not installed";
    if (find_tshark("").empty()) GTEST_SKIP() << "tshark is not installed";
  }

  std::filesystem::path make_page(const std::string& session, int repeat = 1) {
    return make_page_of(test_support::make_capture(directory_.path(), session, repeat));
  }

  std::filesystem::path make_page_of(const std::filesystem::path& capture) {
    report_options options;
    options.inputs = {capture};
    options.output = directory_.path() / "report.html";
    make_report(options);
    return options.output;
  }

  static std::string text_of(browser& shown, const std::string& selector) {
    return shown.run("return document.querySelector(arguments[0]).textContent", {selector});
  }

  test_support::temp_directory directory_;
};

TEST_F(report_page_test, runs_without_errors_and_fetches_nothing) {
  browser shown({});
  shown.open(make_page("sessions/timeout"));
  EXPECT_EQ(shown.run("return document.documentElement.dataset.ready"), "true");
  EXPECT_THAT(shown.console(), IsEmpty());
  EXPECT_EQ(shown.run("return performance.getEntriesByType('resource').length"), 0);
}

TEST_F(report_page_test, says_the_answer_without_scripts) {
  std::ifstream file(make_page("sessions/attach_reject_esm"));
  const std::string page((std::istreambuf_iterator<char>(file)), {});
  EXPECT_THAT(page, HasSubstr("Not registered: attach rejected: EMM #19 ESM failure, because of "
                              "ESM #27 Missing or unknown APN"));
}

TEST_F(report_page_test, filters_by_text_layer_and_procedure) {
  browser shown({});
  shown.open(make_page("sessions/attach_reject_15"));
  EXPECT_EQ(text_of(shown, "#shown"), "57 messages");
  shown.click("#search");
  shown.press("reject");
  EXPECT_EQ(text_of(shown, "#shown"), "1 of 57 messages");
  EXPECT_THAT(text_of(shown, ".row:not([hidden])"), HasSubstr("Attach reject"));
  shown.click("#reset");
  EXPECT_EQ(text_of(shown, "#shown"), "57 messages");
  shown.click("input[value=a]");
  EXPECT_EQ(text_of(shown, "#shown"), "44 of 57 messages");
  shown.click("#reset");
  shown.run(
      "const select = document.getElementById('procedure');"
      "select.value = 'NAS security mode'; select.dispatchEvent(new Event('change'))");
  // Two runs of command and completion, each with the RRC message that carries it.
  EXPECT_EQ(text_of(shown, "#shown"), "8 of 57 messages");
}

TEST_F(report_page_test, leads_from_a_failure_to_its_message) {
  browser shown({});
  shown.open(make_page("sessions/attach_reject_15"));
  shown.click(".failures a.moment");
  EXPECT_EQ(shown.run("return location.hash"), "#frame=24");
  EXPECT_THAT(text_of(shown, ".row.selected"), HasSubstr("No suitable cells in tracking area"));
  EXPECT_THAT(text_of(shown, "#details"), HasSubstr("TS 24.301 9.9.3.9"));
  // The bytes of the attach reject: EMM, type 0x44, cause 15.
  EXPECT_THAT(text_of(shown, "#details pre"), HasSubstr("07 44 0f"));
}

TEST_F(report_page_test, follows_its_address) {
  browser shown({});
  const std::filesystem::path page = make_page("sessions/handover");
  shown.open(page, "#frame=21");
  EXPECT_THAT(text_of(shown, ".row.selected .frame"), "21");
  shown.run("location.hash = '#t=0.9'");
  shown.run("return new Promise((done) => setTimeout(done, 0))");
  EXPECT_THAT(text_of(shown, ".row.selected .frame"), "4");
}

TEST_F(report_page_test, is_operated_by_keyboard) {
  browser shown({});
  shown.open(make_page("sessions/handover"));
  shown.run("document.getElementById('ladder').focus()");
  shown.press(std::string(key_down) + key_down);
  EXPECT_EQ(text_of(shown, ".row.selected .frame"), "2");
  shown.press(key_end);
  EXPECT_EQ(text_of(shown, ".row.selected .frame"), "48");
  const json active = shown.run(
      "const grid = document.getElementById('ladder');"
      "const row = document.getElementById(grid.getAttribute('aria-activedescendant'));"
      "return [grid.getAttribute('role'), row.getAttribute('role'),"
      " row.getAttribute('aria-selected'), row.getAttribute('aria-rowindex')]");
  EXPECT_EQ(active, json({"grid", "row", "true", "48"}));
}

TEST_F(report_page_test, has_the_bytes_of_every_message) {
  browser shown({});
  shown.open(make_page("attach_session"));
  const json wrong = shown.run(
      "return data.time.map((_, i) => i).filter((i) =>"
      " bytesOf(i).length !== Math.min(data.size[i], data.layer[i] === 'i' ? 128 : 4096))");
  EXPECT_EQ(wrong, json::array());
  EXPECT_EQ(shown.run("return new TextDecoder().decode(bytesOf(0))"), "AT+CFUN=1\r\n");
}

TEST_F(report_page_test, shows_hostile_text_as_text) {
  const std::string attack = "+CME ERROR: </script><img src=x onerror=document.title='bad'>\"'&";
  std::string hex;
  for (const char each : attack) hex += fmt::format("{:02x}", static_cast<unsigned>(each));
  const std::filesystem::path session =
      directory_.write("attack.tsv", "1\tat\t41543c623e\n2\tat\t" + hex + "\n");
  const std::filesystem::path page =
      make_page_of(test_support::make_capture_of(directory_.path(), session));
  browser shown({});
  shown.open(page);
  EXPECT_THAT(shown.console(), IsEmpty());
  EXPECT_EQ(shown.run("return document.images.length"), 0);
  EXPECT_THAT(text_of(shown, "#h-commands ~ div table"), HasSubstr(attack));
  EXPECT_THAT(text_of(shown, ".row:nth-of-type(3)"), HasSubstr("</script><img"));
}

TEST_F(report_page_test, keeps_few_elements_with_100000_messages) {
  browser shown({});
  shown.open(make_page("sessions/handover", 2084));
  EXPECT_EQ(text_of(shown, "#shown"), "100,032 messages");
  EXPECT_THAT(shown.console(), IsEmpty());
  EXPECT_LT(shown.run("return document.querySelectorAll('.row').length").get<int>(), 100);
  const json frames = shown.run(
      "const grid = document.getElementById('ladder');"
      "const times = [];"
      "return new Promise((done) => {"
      "  let last = performance.now();"
      "  function step() {"
      "    const now = performance.now(); times.push(now - last); last = now;"
      "    if (times.length > 120) return done(times.sort((a, b) => a - b));"
      "    grid.scrollTop += 777; requestAnimationFrame(step);"
      "  }"
      "  requestAnimationFrame(step);"
      "})");
  const json loaded =
      shown.run("return performance.getEntriesByType('navigation')[0].domContentLoadedEventEnd");
  // For whoever reads the output; a busy machine may be slow.
  std::printf("loaded in %.0f ms; median frame while scrolling %.1f ms, slowest %.1f ms\n",
              loaded.get<double>(), frames[frames.size() / 2].get<double>(),
              frames.back().get<double>());
  EXPECT_LT(shown.run("return document.querySelectorAll('.row').length").get<int>(), 100);
}

TEST_F(report_page_test, prints_all_rows_of_a_short_trace) {
  browser shown({});
  shown.open(make_page("sessions/handover"));
  const json printed = shown.run(
      "window.dispatchEvent(new Event('beforeprint'));"
      // The page's height changes for paper, which draws the view elsewhere.
      "const grid = document.getElementById('ladder');"
      "grid.style.maxHeight = 'none';"
      "grid.style.height = '4000px';"
      "return new Promise((done) => {"
      "  let frames = 0;"
      "  function step() {"
      "    if (++frames < 4) return requestAnimationFrame(step);"
      "    const count = document.querySelectorAll('.row').length;"
      "    window.dispatchEvent(new Event('afterprint'));"
      "    done(count);"
      "  }"
      "  requestAnimationFrame(step);"
      "})");
  EXPECT_EQ(printed, 48);
  EXPECT_THAT(shown.print(), testing::StartsWith("%PDF"));
  EXPECT_THAT(shown.console(), IsEmpty());
}

// Not a test: make_pictures.sh names the directory.
TEST_F(report_page_test, makes_the_pictures_of_the_documentation) {
  const auto directory = platform::find_environment_variable("VELTRA_PICTURES");
  if (!directory) GTEST_SKIP() << "VELTRA_PICTURES names no directory";
  const auto keep = [&](const char* name, browser& shown) {
    std::ofstream(std::filesystem::path(*directory) / name, std::ios::binary) << shown.screenshot();
  };
  // Names without a directory, which would be another one each time.
  const test_support::working_directory here(directory_.path());
  const auto capture_of = [&](const std::string& session) {
    return test_support::make_capture(directory_.path(), "sessions/" + session).filename();
  };
  {
    browser shown({.width = 1180, .height = 1230});
    shown.open(make_page_of(capture_of("attach_reject_15")));
    keep("report-answer.png", shown);
  }
  {
    browser shown({.width = 1180, .height = 1130, .dark = true});
    shown.open(make_page_of(capture_of("handover")), "#frame=21");
    keep("report-ladder.png", shown);
  }
  {
    report_options options;
    for (const char* const session : {"attach_reject_15", "attach_reject_esm", "handover",
                                      "rrc_reject", "tau_reject", "timeout", "nb_iot"}) {
      options.inputs.push_back(capture_of(session));
    }
    options.output = directory_.path() / "night.html";
    make_report(options);
    browser shown({.width = 1180, .height = 1000});
    shown.open(options.output);
    keep("report-night.png", shown);
  }
}

}  // namespace
}  // namespace veltra::report
