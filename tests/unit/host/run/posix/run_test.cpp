// Runs on links, devices, pipes and names that only this kind of file system has.
#include "host/run/capture_run.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "tests/unit/host/run/capture_run_fixture.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class posix_capture_run_test : public capture_run_test {};

// A named pipe with its reader, which never waits.
class named_pipe {
 public:
  explicit named_pipe(const std::filesystem::path& file) {
    EXPECT_EQ(mkfifo(file.c_str(), 0600), 0);
    descriptor_ = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_GE(descriptor_, 0);
  }
  named_pipe(const named_pipe&) = delete;
  named_pipe& operator=(const named_pipe&) = delete;
  ~named_pipe() { close(descriptor_); }

  // What is in it now, to the size of a block.
  std::string read_some() const {
    std::array<char, 4096> block{};
    const ssize_t count = read(descriptor_, block.data(), block.size());
    return {block.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
  }

 private:
  int descriptor_;
};

TEST_F(posix_capture_run_test, an_input_is_not_replaced_through_a_link) {
  script({{"steps", {packet_step("ip", "E")}}});
  const std::string before = content(at("trace.bin"));
  std::filesystem::create_symlink("trace.bin", at("link"));
  EXPECT_THAT(refusal_of(
                  [&] {
                    decode({"-o", name_of("link")});
                  },
                  exit_code::usage),
              HasSubstr("would replace the input"));
  EXPECT_EQ(content(at("trace.bin")), before);
}

TEST_F(posix_capture_run_test, an_output_that_is_full_ends_the_run) {
  json large = packet_step("ip", std::string(100'000, 'E'));
  script({{"steps", {large, wait_step}}});
  EXPECT_THAT(refusal_of(
                  [&] {
                    decode({"--format", "jsonl", "-o", "/dev/full"});
                  },
                  exit_code::output_failed),
              HasSubstr("No space left on device"));
}

// Wireshark opens its window, and shows a capture without packets.
TEST_F(posix_capture_run_test, who_reads_a_live_capture_has_its_header_before_the_modem_speaks) {
  script({{"steps", {{{"log", "open port"}}}}, {"start", failed_start}});
  const named_pipe reader(at("pipe"));
  std::string read;
  capture_request made = request();
  made.live = true;
  made.options.output.file = name_of("pipe");
  made.observe_log = [&](std::string_view) { read = reader.read_some(); };
  refusal_of([&] { run(made); }, exit_code::run_failed);
  EXPECT_THAT(read, StartsWith("\n\r\r\n")) << "no section header";
}

}  // namespace
}  // namespace veltra::host
