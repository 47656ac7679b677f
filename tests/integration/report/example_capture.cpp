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

std::filesystem::path make_capture(const std::filesystem::path& directory,
                                   const std::string& session) {
  const std::filesystem::path base =
      directory / std::filesystem::path(session).filename().replace_extension();
  const std::string trace = base.string() + ".bin";
  const std::string database = base.string() + ".tar.gz";
  const std::string capture = base.string() + ".pcapng";
  run({"simulate", std::string(VELTRA_EXAMPLES) + "/" + session + ".tsv", "--trace", trace,
       "--database", database});
  run({"decode", trace, "--database", database, "--output", capture});
  return capture;
}

}  // namespace test_support
