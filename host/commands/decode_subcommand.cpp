#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/commands/commands.h"
#include "host/commands/shared_options.h"
#include "host/commands/subcommands.h"

namespace veltra::host {

namespace {

constexpr unsigned max_jobs = 1024;

// The options that were given, except those that `is_ours`, as words of a command line.
std::vector<std::string> given_options(const CLI::App& app,
                                       const std::function<bool(const std::string&)>& is_ours) {
  std::vector<std::string> words;
  for (const CLI::Option* const each : app.get_options()) {
    const std::string name = each->get_name();
    if (each->count() == 0 || !name.starts_with("--") || is_ours(name)) continue;
    const bool is_flag = each->get_expected_max() == 0;
    for (const std::string& value : each->results()) {
      words.push_back(is_flag ? name : name + "=" + value);
    }
  }
  return words;
}

bool is_of_cache(const std::string& name) {
  static const std::set<std::string> names = {
      "--cache", "--location", "--root", "--proxy", "--update", "--timeout", "--trust-catalogue"};
  return names.contains(name);
}

// What the process of one trace must not get: the batch's own options, and those that it replaces
// by others.
bool is_of_batch(const std::string& name) {
  static const std::set<std::string> names = {
      "--output-dir", "--jobs",          "--skip-existing", "--shard",  "--suffix",  "--summary",
      "--quiet",      "--only-complete", "--format",        "--output", "--database"};
  return names.contains(name) || is_of_cache(name);
}

// What is wrong with the text of --shard; empty if it is one.
std::string check_shard(const std::string& text) {
  if (shard_named(text)) return {};
  return fmt::format("{} is not a part such as 3/8, the third of eight", text);
}

void add_batch_options(CLI::App& app, decode_options& options) {
  app.option_defaults()->group("Many traces");
  CLI::Option* const directory =
      require_nonempty(app.add_option("--output-dir", options.output_directory,
                                      "Decode each TRACE, and those below each DIRECTORY, to a "
                                      "capture in this directory"))
          ->type_name("DIR");
  directory->excludes(app.get_option("--output"));
  directory->excludes(app.get_option("--join"));
  app.add_option("--jobs,-j", options.jobs, "Traces at a time (default: one for each processor)")
      ->check(CLI::Range(1U, max_jobs))
      ->type_name("N")
      ->needs(directory);
  app.add_flag("--skip-existing", options.skip_existing, "Pass over traces whose capture is there")
      ->needs(directory);
  app.add_option_function<std::string>(
         "--shard", [&options](const std::string& text) { options.part = *shard_named(text); },
         "Decode only every N-th trace, beginning with the I-th")
      ->check(check_shard, "")
      ->type_name("I/N")
      ->needs(directory);
  require_nonempty(app.add_option("--suffix", options.suffixes,
                                  fmt::format("In directories, traces are files whose names end "
                                              "so; may be given again (default: {})",
                                              fmt::join(default_trace_suffixes(), ", "))))
      ->allow_extra_args(false)
      ->type_name("TEXT")
      ->needs(directory);
}

}  // namespace

void add_decode_command(CLI::App& parent, command& chosen) {
  auto options = std::make_shared<decode_options>();
  // Larger than the plug-in's own default: a file is there at once, and every
  // chunk costs a packet.
  options->run.chunk_size = std::uint64_t{1} << 16;
  CLI::App* const app =
      parent.add_subcommand("decode", "Turn a recorded trace into a capture for Wireshark");
  require_nonempty(app->add_option("TRACE", options->traces,
                                   "The modem's raw trace, - for standard input; with "
                                   "--output-dir several, and directories of them"))
      ->required();
  add_run_options(*app, options->run, "the trace's name with the format's ending",
                  "as recorded, if the trace has a sidecar, otherwise modem");
  app->add_flag("--join", options->are_joined,
                "The TRACEs are one trace, in the order of their names");
  add_batch_options(*app, *options);
  add_ending_options(*app, options->summary, options->fails_on_loss);
  app->option_defaults()->group(output_heading);
  app->add_flag("--only-complete", options->run.only_complete,
                "Keep no capture of a trace that was not read to its end");
  app->add_flag("--wireshark", options->wireshark, "Open the capture in Wireshark");
  app->option_defaults()->group(database_heading);
  app->add_flag("--strict", options->is_strict, "Refuse a database that the trace does not name");
  app->footer(
      "Examples:\n"
      "  veltra decode trace.bin --database modem.tar.gz\n"
      "  veltra decode trace.bin --cache databases -o trace.pcapng\n"
      "  veltra decode trace.bin -d modem.tar.gz -f jsonl -o - | jq .layer\n"
      "  ssh lab cat trace.bin | veltra decode - -d modem.tar.gz -o trace.pcapng\n"
      "  veltra decode traces --cache databases --output-dir captures --summary runs.jsonl");
  app->callback([app, options, &chosen] {
    options->passed_on = given_options(*app, is_of_batch);
    options->passed_on_cache =
        given_options(*app, [](const std::string& name) { return !is_of_cache(name); });
    chosen = [options] { return decode(*options); };
  });
}

}  // namespace veltra::host
