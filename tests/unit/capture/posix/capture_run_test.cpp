// Runs on links, devices and names that only this kind of file system has.
#include "host/capture/capture_run.h"

#include <filesystem>

#include "tests/unit/capture/capture_run_fixture.h"

namespace veltra::host {
namespace {

using testing::HasSubstr;

class posix_capture_run_test : public capture_run_test {};

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

}  // namespace
}  // namespace veltra::host
