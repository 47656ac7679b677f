#include "platform/process.h"

#include <process.h>
#include <stdlib.h>

#include "platform/file.h"
#include "platform/shell.h"

namespace platform {

int run_command(const std::string& command, const std::filesystem::path& argument) {
  // The command prompt takes the quotes around the whole line away.
  const std::string line =
      "\"" + command + " " + shell_word(path_to_utf8(argument)) + " <nul 1>&2\"";
  return _wsystem(path_from_utf8(line).c_str());
}

}  // namespace platform
