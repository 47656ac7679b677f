#include "tests/integration/report/example_capture.h"

#include <stdexcept>
#include <vector>

#include "platform/process.h"

namespace test_support {

namespace {

void run(const std::vector<std::string>& arguments) {
  platform::process veltra(VELTRA_PROGRAM, arguments);
  char output[1024];
  while (veltra.read(output) != 0) {
  }
  const platform::process::ending end = veltra.wait();
  if (end.killed || end.exit_code != 0) throw std::runtime_error(end.diagnostics);
}

}  // namespace

std::filesystem::path make_capture_of(const std::filesystem::path& directory,
                                      const std::filesystem::path& session, int repeat) {
  const std::string base = (directory / session.filename().replace_extension()).string();
  run({"simulate", session.string(), "--trace", base + ".bin", "--database", base + ".tar.gz",
       "--repeat", std::to_string(repeat)});
  run({"decode", base + ".bin", "--database", base + ".tar.gz", "--output", base + ".pcapng"});
  return base + ".pcapng";
}

std::filesystem::path make_capture(const std::filesystem::path& directory,
                                   const std::string& session, int repeat) {
  return make_capture_of(directory, std::filesystem::path(VELTRA_EXAMPLES) / (session + ".tsv"),
                         repeat);
}

}  // namespace test_support
