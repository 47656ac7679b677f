// Runs into named pipes and onto full disks, and runs that are looked at meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "host/user_error.h"
#include "tests/support/file_size_limit.h"
#include "tests/unit/host/output/capture_reader.h"
#include "tests/unit/host/run/capture_run_fixture.h"
#include "tests/unit/host/simulate/refusal.h"

namespace veltra::host {
namespace {

using kovax::json;
using testing::ElementsAre;
using testing::HasSubstr;

// For threads that are older than the run: the signal is for the run's watch.
void leave_ctrl_c_to_others() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// The bytes that a named pipe's reader gets until it has `count` packets.
std::string read_packets_from(const std::filesystem::path& pipe, std::size_t count) {
  std::string bytes;
  const auto close = [](std::FILE* file) { std::fclose(file); };
  const std::unique_ptr<std::FILE, decltype(close)> file(std::fopen(pipe.c_str(), "rb"), close);
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  while (read_packets(bytes).size() < count) {
    std::string block(8, '\0');
    if (std::fread(block.data(), 1, 8, file.get()) != 8) break;
    std::uint32_t length = 0;
    std::memcpy(&length, block.data() + 4, sizeof length);
    block.resize(length);
    if (std::fread(block.data() + 8, 1, length - 8, file.get()) != length - 8) break;
    bytes += block;
  }
  return bytes;
}

TEST_F(capture_run_test, who_reads_a_live_run_along_has_its_packets_while_it_waits) {
  script({{"steps", {packet_step("ip", "E"), packet_step("at", "OK"), wait_step}}});
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  capture_request made = request();
  made.live = true;
  made.options.output.file = name_of("pipe");
  std::thread reader([&] {
    leave_ctrl_c_to_others();
    EXPECT_EQ(read_packets(read_packets_from(at("pipe"), 2)).size(), 2U);
    keyboard_.press_ctrl_c();
  });
  // The reader goes away while the run waits, and before its end is written.
  try {
    run(std::move(made));
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), exit_code::output_failed);
  }
  reader.join();
}

TEST_F(capture_run_test, a_live_run_ends_when_nobody_reads_it_any_more) {
  json step = packet_step("at", std::string(100, 'x'));
  step["times"] = 2000;  // more than a pipe holds
  script({{"steps", {step, wait_step}}});
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  capture_request made = request();
  made.live = true;
  made.options.output.file = name_of("pipe");
  std::thread reader([&] { read_packets_from(at("pipe"), 1); });
  EXPECT_THAT(refusal_of([&] { run(std::move(made)); }, exit_code::output_failed),
              HasSubstr("Broken pipe; the program that read it has ended."));
  reader.join();
}

TEST_F(capture_run_test, a_live_runs_file_can_be_looked_at_while_it_waits) {
  script({{"steps", {packet_step("at", "OK"), wait_step}}});
  capture_request made = request();
  made.live = true;
  std::thread looker([&] {
    leave_ctrl_c_to_others();
    const auto part = [&] {
      for (const std::string& name : names()) {
        if (name.ends_with(".part")) return content(directory_.path() / name);
      }
      return std::string();
    };
    while (part().find("OK") == std::string::npos) std::this_thread::yield();
    keyboard_.press_ctrl_c();
  });
  EXPECT_EQ(run(std::move(made)), exit_code::ok);
  looker.join();
}

TEST_F(capture_run_test, a_live_run_that_fills_the_disk_keeps_what_is_whole) {
  json step = packet_step("nas-eps", std::string(1000, 'n'));
  step["times"] = 1000;
  script({{"steps", {packet_step("at", "OK"), step, wait_step}}});
  for (const char* format : {"pcapng", "jsonl"}) {
    capture_request made = request();
    made.live = true;
    made.options.output.format = format;
    const test_support::file_size_limit full(200'000);
    EXPECT_THAT(refusal_of([&] { run(made); }, exit_code::output_failed),
                HasSubstr("out.pcapng: File too large"));
    EXPECT_THAT(printed_, HasSubstr("the last packets are missing\n"));
    EXPECT_THAT(names(), ElementsAre("out.pcapng", "trace.bin"));
    const std::string kept = content(at("out.pcapng"));
    EXPECT_GT(kept.size(), 100'000U);
    if (made.options.output.format == "pcapng") {
      EXPECT_GT(read_packets(kept).size(), 100U);
    } else {
      EXPECT_EQ(kept.back(), '\n');
    }
    std::filesystem::remove(at("out.pcapng"));
  }
}

TEST_F(capture_run_test, a_disk_that_is_full_in_the_end_costs_a_live_run_only_its_last_packets) {
  json step = packet_step("at", std::string(1000, 'n'));
  step["times"] = 150;
  script({{"steps", {step}}, {"start", failed_start}});
  capture_request made = request();
  made.live = true;
  const test_support::file_size_limit full(140'000);
  EXPECT_THAT(refusal_of([&] { run(made); }, exit_code::output_failed),
              HasSubstr("File too large"));
  EXPECT_GT(read_packets(content(at("out.pcapng"))).size(), 50U);
}

TEST_F(capture_run_test, a_file_that_fills_the_disk_leaves_no_capture) {
  json step = packet_step("nas-eps", std::string(1000, 'n'));
  step["times"] = 1000;
  script({{"steps", {step}}});
  const test_support::file_size_limit full(200'000);
  refusal_of([&] { run(request()); }, exit_code::output_failed);
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

}  // namespace
}  // namespace veltra::host
