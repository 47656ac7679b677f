#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "host/commands/commands.h"
#include "host/commands/shared_options.h"
#include "host/commands/subcommands.h"

namespace veltra::host {

namespace {

CLI::Option* add_cache_option(CLI::App& app, database_options& options) {
  return require_nonempty(app.add_option("--cache", options.cache, "Directory of databases"))
      ->required()
      ->type_name("DIR");
}

}  // namespace

void add_db_command(CLI::App& parent, command& chosen) {
  CLI::App* const db = parent.add_subcommand("db", "Keep and look at a cache of trace databases");
  db->require_subcommand(1);
  db->footer(
      "Examples:\n"
      "  veltra db sync --cache databases --update --location https://host/config.json\n"
      "  veltra db list --cache databases\n"
      "  veltra db add modem.tar.gz --cache databases");
  const auto options = std::make_shared<database_options>();

  CLI::App* const sync =
      db->add_subcommand("sync", "Make sure that every database of the catalogue is in the cache");
  add_catalogue_options(*sync, *options, add_cache_option(*sync, *options));
  const auto as_json = std::make_shared<bool>(false);
  sync->add_flag("--json", *as_json, "For programs: a JSON array of what is in the cache then");
  sync->callback([options, as_json, &chosen] {
    chosen = [options, as_json] { return sync_cache(*options, *as_json); };
  });

  CLI::App* const list = db->add_subcommand("list", "List the cache's databases");
  add_cache_option(*list, *options);
  list->add_flag("--json", *as_json, "For programs: a JSON array");
  list->callback([options, as_json, &chosen] {
    chosen = [options, as_json] { return list_cache(*options, *as_json); };
  });

  CLI::App* const show = db->add_subcommand("show", "Say what is in a trace database file");
  const auto file = std::make_shared<std::string>();
  require_nonempty(show->add_option("FILE", *file, "Trace database (.json or .tar.gz)"))
      ->required()
      ->type_name("FILE");
  show->add_flag("--json", *as_json, "For programs: a JSON object");
  show->callback([file, as_json, &chosen] {
    chosen = [file, as_json] { return show_database(*file, *as_json); };
  });

  CLI::App* const lint = db->add_subcommand("lint", "Name every fault of a trace database file");
  const auto checks = std::make_shared<lint_options>();
  require_nonempty(lint->add_option("FILE", checks->file, "Trace database (.json or .tar.gz)"))
      ->required()
      ->type_name("FILE");
  lint->add_flag("--strict", checks->is_strict, "Fail for warnings, too");
  lint->add_flag("--json", checks->as_json, "For programs: a JSON object");
  lint->callback([checks, &chosen] { chosen = [checks] { return lint_database(*checks); }; });

  CLI::App* const publish =
      db->add_subcommand("publish", "Write the catalogue of a directory of databases");
  const auto published = std::make_shared<publish_options>();
  require_nonempty(publish->add_option("DIR", published->place, "Directory of databases"))
      ->required()
      ->type_name("DIR");
  require_nonempty(
      publish->add_option("--device", published->names.device, "Device of databases that are new"))
      ->type_name("NAME")
      ->default_str("modem");
  publish->callback(
      [published, &chosen] { chosen = [published] { return publish_directory(*published); }; });

  CLI::App* const add = db->add_subcommand("add", "Put a trace database file into a cache");
  const auto added = std::make_shared<publish_options>();
  require_nonempty(add->add_option("FILE", added->place, "Trace database (.json or .tar.gz)"))
      ->required()
      ->type_name("FILE");
  require_nonempty(add->add_option("--cache", added->cache, "Directory of databases"))
      ->required()
      ->type_name("DIR");
  require_nonempty(add->add_option("--device", added->names.device, "Device in the catalogue"))
      ->type_name("NAME")
      ->default_str("modem");
  require_nonempty(add->add_option("--version", added->names.version,
                                   "Version in the catalogue (default: the file's name)"))
      ->type_name("NAME");
  add->callback([added, &chosen] { chosen = [added] { return add_to_cache(*added); }; });

  CLI::App* const verify = db->add_subcommand(
      "verify", "Check that every database of the catalogue is there and intact");
  add_cache_option(*verify, *options);
  verify->add_flag("--json", *as_json, "For programs: a JSON array");
  verify->callback([options, as_json, &chosen] {
    chosen = [options, as_json] { return verify_cache(*options, *as_json); };
  });
}

}  // namespace veltra::host
