// SPDX-License-Identifier: Apache-2.0
// The parser that is made of the tables.
#include "cli/qorCtlOptions.h"

#include <CLI/CLI.hpp>
#include <map>
#include <sstream>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlOptionTable.h"
#include "cli/qorCtlText.h"
#include "cli/qorCtlVersion.h"

namespace orvix::ctl {

namespace {

CLI::Option* bindOption(CLI::App& app, const OptionRow& row, Settings& settings) {
  return std::visit(
      [&](auto member) -> CLI::Option* {
        auto& variable = settings.*member;
        using Type = std::remove_reference_t<decltype(variable)>;
        if constexpr (std::is_same_v<Type, bool>) {
          return app.add_flag(row.name, variable, row.help);
        } else {
          return app.add_option(row.name, variable, row.help);
        }
      },
      row.target);
}

std::string valueText(const OptionRow& row) {
  const std::string usual = row.required || isPositional(row) ? "" : defaultText(row);
  return usual.empty() ? row.value : std::string(row.value) + " [" + usual + "]";
}

void addChecks(CLI::Option& option, const OptionRow& row) {
  if (const Check check = row.check; check != nullptr) {
    option.check(CLI::Validator([check](std::string& value) { return check(value); }, ""));
  }
  // Where there is a check, it takes more spellings than the list has.
  const auto choices = row.check == nullptr ? choicesOf(row.values) : std::vector<std::string>();
  if (choices.empty()) return;
  option.check(
      CLI::Validator([choices](std::string& value) { return checkChoice(value, choices); }, ""));
}

/// `required`: whether the parser is to insist on it.
void addOption(CLI::App& app, const OptionRow& row, Settings& settings, bool required) {
  CLI::Option* const option = bindOption(app, row, settings);
  if (!isFlag(row)) option->type_name(row.value)->option_text(valueText(row));
  if (isRepeatable(row) && !isPositional(row)) {
    option->allow_extra_args(false);  // one value each time, or it would swallow the arguments
  }
  option->required(required);
  addChecks(*option, row);
}

/// The program and as much of a command as was understood: "qorctl collection".
std::string spelledCommand(const CLI::App& app) {
  const auto given = app.get_subcommands();
  return app.get_name() + (given.empty() ? "" : ' ' + spelledCommand(*given.front()));
}

/// An option that was given twice; empty if there is none.
std::string repeatedOption(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    const auto most = static_cast<std::size_t>(option->get_items_expected_max());
    if (most == 1 && option->count() > most) return option->get_name();
  }
  for (const CLI::App* command : app.get_subcommands()) {
    if (std::string name = repeatedOption(*command); !name.empty()) return name;
  }
  return "";
}

/// A mistyped command or option is what stays unread, and says more than that something is missing.
std::string usageText(const CLI::App& app, const CLI::ParseError& failure) {
  const bool unread = dynamic_cast<const CLI::ExtrasError*>(&failure) != nullptr ||
                      dynamic_cast<const CLI::RequiredError*>(&failure) != nullptr;
  const std::vector<std::string> rest = app.remaining(true);
  if (!unread || rest.empty()) {
    const bool mismatch = dynamic_cast<const CLI::ArgumentMismatch*>(&failure) != nullptr;
    const std::string twice = mismatch ? repeatedOption(app) : "";
    return twice.empty() ? failure.what() : twice + " is given more than once";
  }
  return "'" + printable(rest.front()) + "' is not understood here";
}

[[noreturn]] void refuse(const CLI::App& app, const std::string& wrong) {
  throw CtlFailure(ExitCode::USAGE, wrong + "; see " + spelledCommand(app) + " --help");
}

/// What the help of a command says of the options that every command has.
std::string globalText() {
  std::string text = "As every command, with what qorctl --help says of them:\n ";
  for (const OptionRow& row : optionTable()) {
    if (row.commands == ALL_COMMANDS) text += std::string(" ") + row.name;
  }
  return text;
}

/// The parser over the tables. Borrows the settings that it fills.
class Parser {
 public:
  explicit Parser(Settings& settings) : app_("Talks to a full-text search server.", "qorctl") {
    app_.set_version_flag("--version", versionText());
    app_.require_subcommand(1);
    app_.fallthrough();  // global options may stand behind the command; subcommands inherit it
    for (const GroupRow& row : groupTable()) {
      groups_[row.name] = app_.add_subcommand(row.name, row.help)->require_subcommand(1);
      groups_[row.name]->footer(globalText());
    }
    for (const OptionRow& row : optionTable()) {
      if (row.commands == ALL_COMMANDS) addOption(app_, row, settings, row.required);
    }
    for (const CommandRow& row : commandTable()) addCommand(row, settings);
  }

  CLI::App& app() { return app_; }

 private:
  void addCommand(const CommandRow& row, Settings& settings) {
    const bool groupItself = row.name[0] == '\0';
    CLI::App& parent = row.group == nullptr ? app_ : *groups_.at(row.group);
    CLI::App* const command = groupItself ? &parent : parent.add_subcommand(row.name, row.help);
    command->footer(globalText());
    if (groupItself) command->require_subcommand(0, 1);
    // A group's own callback runs behind that of its command.
    command->callback([&settings, &row, command] {
      if (command->get_subcommands().empty()) settings.command = row.command;
    });
    for (const OptionRow& option : optionTable()) {
      // What a group alone requires must not be required of its commands.
      if (isOwnOption(option, row)) {
        addOption(*command, option, settings, option.required && !groupItself);
      }
    }
  }

  CLI::App app_;
  std::map<std::string, CLI::App*> groups_;
};

}  // namespace

ParsedArguments parseArguments(int count, const char* const* arguments) {
  Settings settings;
  Parser parser(settings);
  try {
    parser.app().parse(count, arguments);
  } catch (const CLI::ParseError& failure) {
    std::ostringstream out;
    std::ostringstream errors;
    if (parser.app().exit(failure, out, errors) != 0)
      refuse(parser.app(), usageText(parser.app(), failure));
    return {std::nullopt, out.str()};
  }
  const std::string wrong = checkTogether(settings);
  if (!wrong.empty()) refuse(parser.app(), wrong);
  return {settings, ""};
}

}  // namespace orvix::ctl
