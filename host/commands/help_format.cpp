#include "host/commands/help_format.h"

#include <fmt/format.h>

#include <cstddef>
#include <sstream>

namespace veltra::host {

namespace {

constexpr std::size_t max_width = 100;
constexpr std::size_t text_column = 30;

// The words of `text` in lines that begin at `column`, where the first line is already.
std::string wrap(const std::string& text, std::size_t column) {
  std::istringstream words(text);
  std::string wrapped;
  std::size_t width = column;
  for (std::string word; words >> word;) {
    if (width > column && width + 1 + word.size() > max_width) {
      wrapped += "\n" + std::string(column, ' ');
      width = column;
    } else if (width > column) {
      wrapped += ' ';
      ++width;
    }
    wrapped += word;
    width += word.size();
  }
  return wrapped;
}

std::string format_row(const std::string& name, const std::string& text) {
  std::string row = "  " + name;
  if (row.size() + 2 > text_column) {
    row += "\n" + std::string(text_column, ' ');
  } else {
    row.resize(text_column, ' ');
  }
  return row + wrap(text, text_column) + "\n";
}

std::string format_option(const CLI::Option& option) {
  const std::vector<std::string> names = option_names(option);
  // Long names are one below the other, whether or not there is a short one.
  std::string name = names.front().starts_with("--") ? "    " : "";
  name += fmt::format("{}", fmt::join(names, ", "));
  std::string text = option.get_description();
  if (takes_value(option)) {
    const std::string value = value_name(option);
    const std::vector<std::string> values = choices(option);
    name += " " + (value.empty() ? fmt::format("{}", fmt::join(values, "|")) : value);
    if (!option.get_default_str().empty()) text += " (default: " + option.get_default_str() + ")";
  }
  if (option.get_required()) text += " (required)";
  return format_row(name, text);
}

std::string format_arguments(const CLI::App& app) {
  std::string rows;
  for (const CLI::Option* const option : app.get_options()) {
    if (!option->get_positional() || option->nonpositional()) continue;
    rows += format_row(option->get_name(true), option->get_description());
  }
  return rows.empty() ? rows : "\nArguments:\n" + rows;
}

std::string format_options(const CLI::App& app) {
  // What has no heading of its own comes last, and --help after everything else.
  constexpr const char* others = "Options";
  std::string text;
  std::string rest;
  for (const std::string& group : app.get_groups()) {
    std::string rows;
    for (const CLI::Option* const option : app.get_options()) {
      if (option->get_group() != group || !option->nonpositional()) continue;
      if (option != app.get_help_ptr()) rows += format_option(*option);
    }
    if (group == others) {
      rest = rows;
    } else if (!rows.empty() && !group.empty()) {
      text += fmt::format("\n{}:\n{}", group, rows);
    }
  }
  if (app.get_help_ptr() != nullptr) rest += format_option(*app.get_help_ptr());
  return text + fmt::format("\n{}:\n{}", text.empty() ? others : "Other options", rest);
}

std::string format_commands(const CLI::App& app) {
  std::string text;
  std::string group;
  for (const CLI::App* const each : app.get_subcommands({})) {
    if (each->get_group().empty()) continue;
    if (each->get_group() != group) {
      group = each->get_group();
      text += fmt::format("\n{}:\n", group == "Subcommands" ? "Commands" : group);
    }
    text += format_row(each->get_name(), each->get_description());
  }
  return text;
}

std::string format_usage(const CLI::App& app, const std::string& name) {
  std::string usage = "Usage: " + name;
  if (!command_names(app).empty()) return usage + " COMMAND [OPTIONS]\n";
  for (const CLI::Option* const option : app.get_options()) {
    if (!option->get_positional() || option->nonpositional()) continue;
    const bool may_be_several = option->get_items_expected_max() > 1;
    const std::string argument = option->get_name(true) + (may_be_several ? "..." : "");
    usage += option->get_required() ? " " + argument : " [" + argument + "]";
  }
  return usage + " [OPTIONS]\n";
}

}  // namespace

const CLI::App* find_command(const CLI::App& app, const std::string& name) {
  const auto is_it = [&](const CLI::App* each) {
    return each->get_name() == name && !each->get_group().empty();
  };
  const std::vector<const CLI::App*> found = app.get_subcommands(is_it);
  return found.empty() ? nullptr : found.front();
}

std::vector<std::string> command_names(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const each : app.get_subcommands({})) {
    if (!each->get_group().empty()) names.push_back(each->get_name());
  }
  return names;
}

std::vector<std::string> option_names(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::vector<std::string> long_option_names(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

bool takes_value(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

std::vector<std::string> choices(const CLI::Option& option) {
  // The parser has them behind the type's name: "TYPE:{one,two}".
  const std::string type = option.get_type_name();
  const std::size_t begin = type.find(":{");
  const std::size_t end = type.find('}', begin == type.npos ? 0 : begin);
  if (begin == type.npos || end == type.npos) return {};
  return CLI::detail::split(type.substr(begin + 2, end - begin - 2), ',');
}

std::string value_name(const CLI::Option& option) {
  // The parser has the checks of a value behind its name: "TYPE:UINT in [1 - 8]".
  const std::string type = option.get_type_name();
  const std::size_t colon = type.find(':');
  const std::string behind = colon == type.npos ? "" : type.substr(colon + 1);
  const bool is_check = behind.find_first_of("{[") != behind.npos || behind == "POSITIVE";
  const std::string name = is_check ? type.substr(0, colon) : type;
  if (name == "TEXT") return choices(option).empty() ? "TEXT" : "";
  return name == "UINT" || name == "INT" || name == "FLOAT" ? "N" : name;
}

std::string format_help(const CLI::App& app, const std::string& name) {
  std::string help = wrap(app.get_description(), 0) + "\n\n" + format_usage(app, name);
  help += format_arguments(app) + format_commands(app) + format_options(app);
  if (!app.get_footer().empty()) help += "\n" + app.get_footer() + "\n";
  return help;
}

}  // namespace veltra::host
