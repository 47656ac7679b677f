#include "host/run/stream_input.h"

#include <fmt/format.h>

#include <array>
#include <system_error>
#include <utility>

#include "host/console.h"
#include "host/database/database_match.h"
#include "host/run/plugin_failure.h"
#include "host/source/literal_path.h"
#include "host/user_error.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

std::string name_of_all(const std::vector<std::string>& names) {
  const std::string first = names.front() == "-" ? "standard input" : names.front();
  return names.size() == 1 ? first : fmt::format("{} to {}", first, names.back());
}

std::unique_ptr<trace_feed> make_feed(const std::string& name, std::string first,
                                      std::unique_ptr<trace_reader> reader) {
  try {
    return std::make_unique<trace_feed>(std::move(first), std::move(reader));
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::function_not_supported) throw;
    throw user_error(exit_code::bad_input,
                     fmt::format("{} cannot be read on this system, where a trace is one file that "
                                 "is not compressed; give such a file.",
                                 name));
  }
}

}  // namespace

trace_start read_start(trace_reader& reader, std::size_t max_bytes) {
  trace_start start;
  database_match match;
  std::array<char, 65536> block;
  while (start.uuid.empty() && start.bytes.size() < max_bytes) {
    const std::size_t count = reader.read(block);
    if (count == 0) break;
    const std::string_view bytes(block.data(), count);
    start.bytes += bytes;
    match.take(bytes);
    start.uuid = match.stream_uuid();
  }
  return start;
}

stream_input::stream_input(std::vector<std::string> names, std::string first,
                           std::unique_ptr<trace_reader> reader)
    : names_(std::move(names)),
      name_(name_of_all(names_)),
      feed_(make_feed(name_, std::move(first), std::move(reader))) {}

kovax::json stream_input::parameters() const {
  return {
      {"file_path", literal_path(feed_->open())}, {"file_stream", true}, {"log_statistics", true}};
}

provenance stream_input::origin() const {
  if (names_.size() == 1 && names_.front() != "-") {
    return provenance_of_trace(platform::path_from_utf8(names_.front()));
  }
  return {
      {"trace",
       sanitize(names_.size() == 1 ? name_ : fmt::format("{} ({} files)", name_, names_.size()))}};
}

std::optional<user_error> stream_input::explain_failure(const source_failure& /*failure*/,
                                                        std::string_view /*remark*/) const {
  return std::nullopt;
}

user_error stream_input::explain_nothing(const run_statistics& statistics,
                                         const database_options& database) const {
  return explain_nothing_decoded(name_, database, statistics);
}

}  // namespace veltra::host
