#include "host/run/run_provenance.h"

#include <fmt/format.h>

#include <iterator>
#include <utility>

#include "host/console.h"
#include "host/run/utc_time.h"
#include "platform/file.h"

namespace veltra::host {

namespace {

std::string name_of(const std::filesystem::path& file) {
  return sanitize(platform::path_to_utf8(file));
}

std::string describe(const time_base& times) {
  switch (times.source) {
    case time_base::kind::host:
      return "host";
    case time_base::kind::given:
      return format_utc(times.given);
    case time_base::kind::modem:
      break;
  }
  return "modem";
}

// As on the command line.
std::string describe_options(const input& input, const run_options& options) {
  std::string text = fmt::format("--time-base {} --chunk-size {}",
                                 describe(times_of(input, options)), options.chunk_size);
  const packet_selection& packets = options.output.packets;
  packet_selection usual;
  if (packets.has(packet_kind::raw)) usual.add(packet_kind::raw);
  if (packets.kinds != usual.kinds) {
    text += " --layers " + describe_kinds(packets);
  } else if (packets.has(packet_kind::raw)) {
    text += " --raw-packets";
  }
  if (!packets.with_secrets) text += " --no-secrets";
  return text;
}

}  // namespace

provenance describe_program(const plugin_library& plugin) {
  provenance facts = {
      {"plug-in", fmt::format("{}, version {}", name_of(plugin.file()), plugin.version())}};
  if (const std::filesystem::path decoder = decoder_file(); !decoder.empty()) {
    facts.push_back(
        {"decoder", fmt::format("{}, SHA-256 {}", name_of(decoder), sha256_of_file(decoder))});
  }
  return facts;
}

provenance describe_run(const input& input, const plugin_library& plugin,
                        const run_options& options) {
  provenance facts = input.origin();
  provenance program = describe_program(plugin);
  std::move(program.begin(), program.end(), std::back_inserter(facts));
  facts.push_back({"options", describe_options(input, options)});
  return facts;
}

time_base times_of(const input& input, const run_options& options) {
  using enum time_base::kind;
  if (!options.recorded_times.empty()) return {host};
  return options.times.value_or(time_base{input.is_live() ? host : modem});
}

}  // namespace veltra::host
