#include "host/batch/trace_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

#include "host/source/trace_reader.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

namespace fs = std::filesystem;

bool is_trace_name(std::string_view name, const std::vector<std::string>& suffixes) {
  return std::any_of(suffixes.begin(), suffixes.end(),
                     [name](const std::string& each) { return name.ends_with(each); });
}

// The paths of the traces below the directory, from there.
std::vector<fs::path> find_traces(const std::string& directory,
                                  const std::vector<std::string>& suffixes) {
  const fs::path root = platform::path_from_utf8(directory);
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::recursive_directory_iterator each(root, error), end; !error && each != end;
       each.increment(error)) {
    std::error_code ignored;
    const fs::path& path = each->path();
    if (is_trace_name(platform::path_to_utf8(path.filename()), suffixes) &&
        each->is_regular_file(ignored)) {
      found.push_back(path.lexically_relative(root));
    }
  }
  if (error) {
    throw user_error(exit_code::bad_input,
                     fmt::format("the directory {} cannot be read to its end ({}); check its "
                                 "permissions.",
                                 directory, error.message()));
  }
  if (found.empty()) {
    throw user_error(exit_code::bad_input,
                     fmt::format("{} contains no file whose name ends in {}; say with --suffix how "
                                 "the names of traces end.",
                                 directory, fmt::join(suffixes, " or ")));
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

fs::path capture_name(fs::path trace, const std::string& extension) {
  if (compression_of(platform::path_to_utf8(trace)) != compression::none) trace.replace_extension();
  return trace.replace_extension("." + extension);
}

const std::vector<std::string>& default_trace_suffixes() {
  static const std::vector<std::string> suffixes = {".bin",      ".trace",   ".bin.gz",
                                                    ".trace.gz", ".bin.zst", ".trace.zst"};
  return suffixes;
}

std::optional<shard> shard_named(std::string_view text) {
  shard part;
  const char* const end = text.data() + text.size();
  const auto [slash, error] = std::from_chars(text.data(), end, part.number);
  if (error != std::errc() || slash == end || *slash != '/') return std::nullopt;
  const auto [stop, count_error] = std::from_chars(slash + 1, end, part.count);
  if (count_error != std::errc() || stop != end) return std::nullopt;
  if (part.number < 1 || part.number > part.count) return std::nullopt;
  return part;
}

std::vector<listed_trace> list_traces(const trace_list_options& options) {
  const fs::path to = platform::path_from_utf8(options.output_directory);
  std::vector<listed_trace> traces;
  const auto add = [&](const fs::path& input, const fs::path& below) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(input, error);
    traces.push_back({platform::path_to_utf8(input),
                      platform::path_to_utf8(to / capture_name(below, options.extension)),
                      error ? 0 : static_cast<std::uint64_t>(size)});
  };
  for (const std::string& input : options.inputs) {
    const fs::path path = platform::path_from_utf8(input);
    std::error_code ignored;
    if (!fs::is_directory(path, ignored)) {
      add(path, path.filename());
      continue;
    }
    for (const fs::path& below : find_traces(input, options.suffixes)) add(path / below, below);
  }

  std::map<std::string, std::string> input_of_output;
  for (const listed_trace& each : traces) {
    const auto [other, is_new] = input_of_output.emplace(each.output, each.input);
    if (is_new) continue;
    throw user_error(exit_code::usage,
                     fmt::format("{} and {} would both become {}; decode them with two commands, "
                                 "each with a directory of its own.",
                                 other->second, each.input, each.output));
  }
  std::vector<listed_trace> part;
  for (std::size_t i = options.part.number - 1; i < traces.size(); i += options.part.count) {
    part.push_back(std::move(traces[i]));
  }
  return part;
}

}  // namespace veltra::host
