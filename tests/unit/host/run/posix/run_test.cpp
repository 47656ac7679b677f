// Runs on links, devices, pipes and full disks, which have names or limits here.
#include "host/run/run.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "host/output/jsonl_sink.h"
#include "host/output/raw_sink.h"
#include "tests/support/file_size_limit.h"
#include "tests/unit/host/run/run_fixture.h"
#include "tests/unit/host/run/scripted_sink.h"

namespace veltra::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class posix_run_test : public run_test {
 protected:
  void make_pipe() const { ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0); }

  exit_code run_live_into_pipe() {
    pcapng_sink capture(at("pipe"), {.is_live = true});
    return run_live({.capture = &capture});
  }
};

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

TEST_F(posix_run_test, an_input_is_not_replaced_through_a_link) {
  script({{"steps", {packet_step("ip", "E")}}});
  const std::string before = content(at("trace.bin"));
  std::filesystem::create_symlink("trace.bin", at("link"));
  const auto work = [&] { decode({"-o", name_of("link")}); };
  EXPECT_THAT(refusal_of(work, exit_code::usage), HasSubstr("would replace the input"));
  EXPECT_EQ(content(at("trace.bin")), before);
}

// The plug-in would wait for its writer.
TEST_F(posix_run_test, an_output_that_is_full_ends_the_run) {
  script({{"steps", {packet_step("ip", std::string(100'000, 'E')), wait_step}}});
  const auto work = [&] { decode({"--format", "jsonl", "-o", "/dev/full"}); };
  EXPECT_THAT(refusal_of(work, exit_code::output_failed), HasSubstr("No space left on device"));
}

// Wireshark opens its window, and shows a capture without packets.
TEST_F(posix_run_test, a_reader_of_a_live_capture_has_its_header_before_the_modem_speaks) {
  script({{"steps", {port_step}}, {"start", failed_start}});
  make_pipe();
  const int reader = open(at("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  std::array<char, 4096> block{};
  ssize_t count = 0;
  display_.event_handler = [&](const source_event&) {
    count = ::read(reader, block.data(), block.size());
  };
  refusal_of([&] { run_live_into_pipe(); }, exit_code::run_failed);
  close(reader);
  ASSERT_GT(count, 0);
  EXPECT_THAT(std::string(block.data(), static_cast<std::size_t>(count)), StartsWith("\n\r\r\n"))
      << "no section header";
}

TEST_F(posix_run_test, a_reader_of_a_live_capture_has_its_packets_while_the_run_waits) {
  script({{"steps", {packet_step("ip", "E"), packet_step("at", "OK"), wait_step}}});
  make_pipe();
  std::thread reader([&] {
    leave_ctrl_c_to_others();
    EXPECT_EQ(read_packets(read_packets_from(at("pipe"), 2)).size(), 2U);
    keyboard_.press_ctrl_c();
  });
  // The reader goes away while the run waits, and before its end is written.
  try {
    run_live_into_pipe();
  } catch (const user_error& error) {
    EXPECT_EQ(error.code(), exit_code::output_failed);
  }
  reader.join();
}

TEST_F(posix_run_test, a_live_run_ends_when_nobody_reads_it_any_more) {
  // More than a pipe holds.
  script({{"steps", {packet_step("at", std::string(100, 'x'), 2000), wait_step}},
          {"start", stopped_start}});
  make_pipe();
  std::thread reader([&] { read_packets_from(at("pipe"), 1); });
  EXPECT_THAT(refusal_of([&] { run_live_into_pipe(); }, exit_code::output_failed),
              HasSubstr("Broken pipe; the program that read it has ended."));
  reader.join();
}

TEST_F(posix_run_test, a_live_runs_file_can_be_looked_at_while_it_waits) {
  script({{"steps", {packet_step("at", "OK"), wait_step}}});
  std::thread looker([&] {
    leave_ctrl_c_to_others();
    const auto part = [&] {
      for (const std::string& name : names()) {
        if (name.ends_with(".part")) return content(at(name));
      }
      return std::string();
    };
    while (part().find("OK") == std::string::npos) std::this_thread::yield();
    keyboard_.press_ctrl_c();
  });
  EXPECT_EQ(run_live(), exit_code::ok);
  looker.join();
}

TEST_F(posix_run_test, a_live_run_that_fills_the_disk_keeps_what_is_whole) {
  script(
      {{"steps",
        {packet_step("at", "OK"), packet_step("nas-eps", std::string(1000, 'n'), 1000), wait_step}},
       {"start", stopped_start}});
  const auto check = [&](const char* name) {
    EXPECT_THAT(printed_, HasSubstr("the last packets are missing\n"));
    EXPECT_THAT(names(), ElementsAre(name, "trace.bin"));
    EXPECT_GT(content(at(name)).size(), 100'000U);
  };
  const test_support::file_size_limit full(200'000);
  EXPECT_THAT(refusal_of([&] { run_live(); }, exit_code::output_failed),
              HasSubstr("out.pcapng: File too large"));
  check("out.pcapng");
  EXPECT_GT(captured().size(), 100U);
  std::filesystem::remove(at("out.pcapng"));
  const auto run_with_lines = [&] {
    jsonl_sink lines(at("out.jsonl"));
    run_live({.capture = &lines});
  };
  refusal_of(run_with_lines, exit_code::output_failed);
  check("out.jsonl");
  EXPECT_EQ(content(at("out.jsonl")).back(), '\n');
}

TEST_F(posix_run_test, a_disk_that_is_full_in_the_end_costs_a_live_run_only_its_last_packets) {
  script({{"steps", {packet_step("at", std::string(1000, 'n'), 150)}}, {"start", failed_start}});
  const test_support::file_size_limit full(140'000);
  EXPECT_THAT(refusal_of([&] { run_live(); }, exit_code::run_failed), HasSubstr("device lost"));
  EXPECT_THAT(printed_,
              HasSubstr("\nveltra: cannot write " + name_of("out.pcapng") + ": File too large; "));
  EXPECT_GT(captured().size(), 50U);
}

TEST_F(posix_run_test, a_file_that_fills_the_disk_leaves_no_capture) {
  script({{"steps", {packet_step("nas-eps", std::string(1000, 'n'), 1000)}}});
  const test_support::file_size_limit full(200'000);
  refusal_of([&] { run_file(); }, exit_code::output_failed);
  EXPECT_THAT(names(), ElementsAre("trace.bin"));
}

TEST_F(posix_run_test, a_run_ends_when_its_raw_trace_fails_after_its_decoding_stopped) {
  script({{"steps",
           {packet_step("ip", "E"),
            {{"log", failure_log("decoding stopped: bad trace")}},
            packet_step("modem_trace", std::string(300'000, 'x')),
            wait_step}},
          {"start", stopped_start}});
  const test_support::file_size_limit full(200'000);
  raw_sink raw(at("raw"));
  scripted_sink capture;
  EXPECT_THAT(refusal_of(
                  [&] {
                    run_live({&raw, &capture});
                  },
                  exit_code::run_failed),
              HasSubstr("failed: bad trace"));
  EXPECT_THAT(capture.done(), testing::Contains("finish"));
}

}  // namespace
}  // namespace veltra::host
