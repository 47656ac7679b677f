#include "host/commands/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <initializer_list>
#include <iostream>
#include <optional>
#include <sstream>

#include "host/commands/commands.h"
#include "host/commands/completion.h"
#include "host/commands/defaults.h"
#include "host/commands/help_format.h"
#include "host/commands/subcommands.h"
#include "host/commands/suggestion.h"
#include "host/console.h"

namespace veltra::host {

namespace {

// What the shells' completion calls with the words of a command line; see
// packaging/completion. It is not shown, since nobody types it.
constexpr const char* completion_command = "__complete";

// The parser of the whole program.
class parser {
 public:
  parser();
  parser(const parser&) = delete;
  parser& operator=(const parser&) = delete;

  // Throws CLI::ParseError for help, the version, and what is wrong.
  void parse(const std::vector<std::string>& arguments);
  // Gives what was asked for, help or the version, or reports what is wrong with the command
  // line. Throws user_error (output_failed) if standard output does not take it.
  exit_code answer(const CLI::ParseError& error) const;

  const CLI::App& app() const { return app_; }
  const command& chosen() const { return chosen_; }
  // What is wrong may be a default then.
  void mention_defaults() { mentions_defaults_ = true; }

 private:
  using add_function = void (*)(CLI::App&, command&);
  void add_commands(const char* group, std::initializer_list<add_function> functions);
  std::string usage_failure(const CLI::Error& error) const;

  CLI::App app_{"veltra - turns the trace of an LTE modem into a capture that Wireshark dissects",
                "veltra"};
  command chosen_;
  bool with_parts_ = false;
  bool mentions_defaults_ = false;
};

parser::parser() {
  app_.require_subcommand(1);
  // The parser reads its flags in this order.
  CLI::Option* const verbose = app_.add_flag("--verbose,-v", with_parts_,
                                             "With --version: the plug-in and the decoder, too");
  verbose->needs(app_.set_version_flag(
      "--version", [this] { return describe_version(with_parts_); }, "Show the version"));
  // The commands inherit all this.
  app_.allow_windows_style_options(false);  // /dir/file is a path
  app_.set_help_flag("-h,--help", "Show this help");
  app_.formatter_fn([](const CLI::App* app, const std::string& name, CLI::AppFormatMode /*mode*/) {
    return format_help(*app, name);
  });
  app_.failure_message(
      [this](const CLI::App* /*root*/, const CLI::Error& error) { return usage_failure(error); });
  add_commands("Traces and captures", {add_decode_command, add_capture_command, add_explain_command,
                                       add_report_command, add_recover_command});
  add_commands("This machine", {add_devices_command, add_doctor_command, add_wireshark_command});
  add_commands("Trace databases", {add_db_command});
  add_commands("A virtual modem", {add_simulate_command});
  add_commands("This program", {add_config_command, add_help_command});
  app_.footer(
      "Examples:\n"
      "  veltra devices\n"
      "  veltra capture /dev/ttyUSB0 --database modem.tar.gz --raw\n"
      "  veltra decode trace.bin --database modem.tar.gz\n"
      "  veltra help decode");
}

void parser::add_commands(const char* group, std::initializer_list<add_function> functions) {
  const std::size_t before = app_.get_subcommands({}).size();
  for (const add_function add : functions) add(app_, chosen_);
  const std::vector<CLI::App*> all = app_.get_subcommands([](CLI::App*) { return true; });
  for (std::size_t i = before; i < all.size(); ++i) all[i]->group(group);
}

void parser::parse(const std::vector<std::string>& arguments) {
  std::vector<const char*> words;
  for (const std::string& argument : arguments) words.push_back(argument.c_str());
  app_.parse(static_cast<int>(words.size()), words.data());
}

exit_code parser::answer(const CLI::ParseError& error) const {
  std::ostringstream asked;
  // CLI11 returns 0 for help and the version; everything else is usage.
  if (app_.exit(error, asked, std::cerr) != 0) return exit_code::usage;
  print(asked.str());
  return exit_code::ok;
}

// What is wrong with the command line, as one line like every other failure.
std::string parser::usage_failure(const CLI::Error& error) const {
  const CLI::App* app = &app_;
  std::string name = app->get_name();
  while (!app->get_subcommands().empty()) {
    app = app->get_subcommands().front();
    name += " " + app->get_name();
  }
  const std::string where = name + (mentions_defaults_ ? " --help and veltra config" : " --help");
  // The parser reports what is missing before what it does not know.
  const std::vector<std::string> rest = app->remaining();
  const bool wants_command = app->get_require_subcommand_min() > 0;
  const bool is_option = !rest.empty() && rest.front().starts_with('-');
  if (rest.empty() || (!is_option && !wants_command)) {
    return fmt::format("veltra: {}; see {}.\n", sanitize(error.what()), where);
  }
  const std::string word =
      is_option ? rest.front().substr(0, rest.front().find('=')) : rest.front();
  return fmt::format(
      "veltra: \"{}\" is not {}{}\n", sanitize(word), is_option ? "an option" : "a command",
      suggest(word, is_option ? long_option_names(*app) : command_names(*app), where));
}

}  // namespace

exit_code run_command_line(const std::vector<std::string>& arguments) {
  parser typed;
  if (arguments.size() > 2 && arguments[1] == completion_command) {
    print(format_candidates(complete(typed.app(), {arguments.begin() + 2, arguments.end()})));
    return exit_code::ok;
  }
  std::optional<CLI::ParseError> failure;
  try {
    typed.parse(arguments);
  } catch (const CLI::Success& asked) {
    return typed.answer(asked);
  } catch (const CLI::ParseError& error) {
    failure = error;
  }
  // What was typed decides which defaults there are; with them the line is parsed again.
  const std::vector<CLI::App*> commands = typed.app().get_subcommands();
  const bool has_defaults = !commands.empty() && commands.front()->get_name() != "help";
  const std::vector<std::string> completed =
      has_defaults ? add_defaults(arguments, typed.app(), read_defaults(typed.app())) : arguments;
  if (completed == arguments) return failure ? typed.answer(*failure) : typed.chosen()();
  parser second;
  second.mention_defaults();
  try {
    second.parse(completed);
  } catch (const CLI::ParseError& error) {
    return second.answer(error);
  }
  return second.chosen()();
}

}  // namespace veltra::host
