#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "host/commands/commands.h"
#include "host/console.h"
#include "host/display/summary.h"
#include "host/output/output_file.h"
#include "host/output/output_format.h"
#include "host/output/part_files.h"
#include "host/output/torn_capture.h"
#include "host/run/input.h"
#include "host/run/port_failure.h"
#include "host/run/utc_time.h"
#include "host/user_error.h"
#include "platform/file.h"
#include "platform/serial_devices.h"
#include "platform/shell.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t read_size = std::size_t{1} << 20;

user_error refusal(const std::string& part, const std::string& why) {
  return {exit_code::bad_input, fmt::format("{} {}.", part, why)};
}

// Reads `part` to its end or until `take` returns false.
template <typename Take>
void read_file(const fs::path& part, Take take) {
  const platform::owned_file file(platform::open_file(part, platform::open_mode::read));
  const auto fail = [&part] {
    throw refusal(platform::path_to_utf8(part),
                  fmt::format("cannot be read ({})", std::generic_category().message(errno)));
  };
  if (!file) fail();
  std::string bytes(read_size, '\0');
  while (const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file.get())) {
    if (!take(std::string_view(bytes).substr(0, count))) return;
  }
  if (std::ferror(file.get()) != 0) fail();
}

// What of a file is worth keeping.
struct salvage {
  std::uint64_t whole_bytes = 0;
  std::uint64_t packets = 0;
  std::string trailer;
  std::optional<utc_time> last_time = {};  // of a packet
};

salvage look_at_pcapng(const fs::path& part) {
  torn_capture capture;
  read_file(part, [&capture](std::string_view bytes) { return capture.add(bytes); });
  return {capture.whole_bytes(), capture.packets(), capture.missing_statistics(),
          capture.last_time()};
}

salvage look_at_lines(const fs::path& part) {
  salvage found;
  std::uint64_t size = 0;
  read_file(part, [&](std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (bytes[i] != '\n') continue;
      found.whole_bytes = size + i + 1;
      ++found.packets;
    }
    size += bytes.size();
    return true;
  });
  return found;
}

salvage look_at(const fs::path& part) {
  char start = 0;
  read_file(part, [&start](std::string_view bytes) {
    start = bytes.front();
    return false;
  });
  if (start == '\n') return look_at_pcapng(part);  // of the section header's type
  if (start == '{') return look_at_lines(part);
  return {};
}

// Its whole blocks can be read, only not by this program.
user_error compressed(const fs::path& part, const fs::path& target) {
  fs::path plain = part;
  const std::string ending =
      platform::path_to_utf8(part).substr(platform::path_to_utf8(target).size());
  plain.replace_filename(platform::path_from_utf8(platform::path_to_utf8(target.stem()) + ending));
  const std::string from = platform::shell_word(platform::path_to_utf8(part));
  const std::string to = platform::shell_word(platform::path_to_utf8(plain));
  return refusal(platform::path_to_utf8(part),
                 fmt::format("is compressed; make a plain part of it first: gzip -dc {} >{}; "
                             "veltra recover {}",
                             from, to, to));
}

void recover_one(const std::string& name) {
  const fs::path part = platform::path_from_utf8(name);
  const fs::path target = target_of_part(part);
  if (target.empty()) throw refusal(name, "is not called NAME.XXXXXXXX.part as a part is");
  // A capture under way is not to be taken from under its writer.
  const platform::device_holders holders = platform::find_device_holders(part);
  if (!holders.seen.empty()) {
    throw refusal(name, fmt::format("is being written by {}", list_holders(holders)));
  }
  if (is_gzip_name(target)) throw compressed(part, target);
  const salvage found = look_at(part);
  if (found.whole_bytes == 0)
    throw refusal(name, "does not begin like a capture; nothing was done");
  if (found.packets == 0) throw refusal(name, "has no packets in it; nothing was done");

  const std::string recovered = name_without_file(platform::path_to_utf8(target));
  output_file output(platform::path_from_utf8(recovered));
  std::uint64_t left = found.whole_bytes;
  read_file(part, [&](std::string_view bytes) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, bytes.size()));
    output.write(bytes.substr(0, count));
    left -= count;
    return left != 0;
  });
  if (left != 0) throw refusal(name, "changed while it was read");
  output.write(found.trailer);
  output.commit();
  std::error_code error;
  const std::uint64_t cut = fs::file_size(part, error) - found.whole_bytes;
  fs::remove(part, error);
  print_message(fmt::format(
      "{}: {} packet{} recovered{}; {}what was not written yet when the capture was "
      "ended is missing, a raw trace has its bytes\n",
      recovered, found.packets, found.packets == 1 ? "" : "s",
      found.last_time ? ", the last of " + format_utc(*found.last_time) : std::string(),
      cut == 0
          ? std::string()
          : fmt::format("{} of a torn record cut off, ", format_bytes(static_cast<double>(cut)))));
}

}  // namespace

exit_code recover(const std::vector<std::string>& parts) {
  for (const std::string& part : parts) recover_one(part);
  return exit_code::ok;
}

}  // namespace veltra::host
