// SPDX-License-Identifier: Apache-2.0
// The tables, and the parser that is made of them.
#include "cli/qorCtlOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <initializer_list>
#include <map>
#include <memory>
#include <sstream>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

constexpr std::uint32_t bit(Command command) {
  return std::uint32_t{1} << static_cast<std::uint32_t>(command);
}

constexpr std::uint32_t bits(std::initializer_list<Command> commands) {
  std::uint32_t all = 0;
  for (const Command command : commands) all |= bit(command);
  return all;
}

using enum Command;

constexpr CommandRow COMMANDS[] = {
    {VERSION, nullptr, "version", "Show the versions of this library and of the server"},
    {STATUS, nullptr, "status", "Ask the server whether it is well"},
    {COLLECTION_CREATE, "collection", "create", "Create a collection"},
    {COLLECTION_DROP, "collection", "drop", "Delete a collection with all its documents"},
    {COLLECTION_OPEN, "collection", "open", "Open a collection"},
    {COLLECTION_CLOSE, "collection", "close", "Close a collection"},
    {COLLECTION_UPDATE, "collection", "update", "Make all that was sent to it searchable"},
    {COLLECTION_LIST_STATUS, "collection", "list-status", "Show the state of a collection"},
    {LOAD, nullptr, "load", "Add the files of folders, single files, or the lines of NDJSON files"},
    {DOC_ADD, "doc", "add", "Add or replace one document"},
    {DOC_DELETE, "doc", "delete", "Delete one document"},
    {SEARCH, nullptr, "search", "Find documents"},
    {ESTIMATE, nullptr, "estimate", "Estimate how many documents a query finds"},
    {OUTCOMES, nullptr, "outcomes", "Fetch what became of the documents sent last"},
    {BACKUP, nullptr, "backup", "Keep a copy of a collection under a name"},
    {RESTORE, nullptr, "restore", "Put a kept copy of a collection back"},
    {TAKEOVER, nullptr, "takeover", "Tell the server to take over"},
    {SHUTDOWN, nullptr, "shutdown", "Tell the server to end"},
};

constexpr const char* GROUP_HELP[][2] = {
    {"collection", "Create, drop and look after collections"},
    {"doc", "Add and delete single documents"},
};

constexpr std::uint32_t COLLECTION_COMMANDS =
    bits({COLLECTION_CREATE, COLLECTION_DROP, COLLECTION_OPEN, COLLECTION_CLOSE, COLLECTION_UPDATE,
          COLLECTION_LIST_STATUS, LOAD, DOC_ADD, DOC_DELETE, SEARCH, ESTIMATE, OUTCOMES, BACKUP,
          RESTORE});
constexpr std::uint32_t DOCUMENT_SOURCES = bits({LOAD, DOC_ADD});
constexpr std::uint32_t QUERIES = bits({SEARCH, ESTIMATE});

using S = Settings;

// Arguments by position are filled in the order of their rows.
const OptionRow OPTIONS[] = {
    {ALL_COMMANDS, "--host", "HOST", &S::host, false, checkFilledLine,
     "Host name or address of the server"},
    {ALL_COMMANDS, "--port", "PORT", &S::port, false, checkPort, "Port of the server"},
    {ALL_COMMANDS, "--token-file", "FILE", &S::tokenFile, false, checkFilled,
     "File whose first line is the access token"},
    {ALL_COMMANDS, "--connect-timeout", "SECONDS", &S::connectTimeout, false, checkSeconds,
     "Limit for establishing a connection; 0: none"},
    {ALL_COMMANDS, "--timeout", "SECONDS", &S::timeout, false, checkSeconds,
     "Limit for a reply, and for each write; 0: none"},
    {ALL_COMMANDS, "--retries", "COUNT", &S::retries, false, checkRetries,
     "How often to repeat a request that failed on its way"},
    {ALL_COMMANDS, "--output", "FORM", &S::output, false, checkOutput,
     "table or ndjson; default: table on a terminal, ndjson otherwise"},

    {COLLECTION_COMMANDS, "collection", "NAME", &S::collection, true, checkFilledLine,
     "Name of the collection"},
    {QUERIES, "query", "QUERY", &S::query, true, checkFilledLine, "What to look for"},
    {bits({DOC_ADD, DOC_DELETE}), "key", "KEY", &S::documentKey, true, checkFilled,
     "Key of the document"},
    {bit(DOC_ADD), "file", "FILE", &S::contentFile, false, checkFilled,
     "File with the content; - reads standard input; default: no content"},
    {bit(LOAD), "paths", "PATH", &S::paths, true, checkFilled,
     "Folders, text files, or NDJSON files (names in .ndjson or .jsonl)"},
    {bits({BACKUP, RESTORE}), "name", "NAME", &S::backupName, true, checkFilledLine,
     "Name of the copy"},

    {bit(COLLECTION_CREATE), "--display-name", "TEXT", &S::displayName, false, checkFilledLine,
     "Name shown to people"},
    {bits({COLLECTION_CREATE, SEARCH, ESTIMATE, LOAD, DOC_ADD}), "--lang", "LANGUAGE", &S::language,
     false, checkFilledLine, "Language of the collection, the documents or the query, such as en"},
    {DOCUMENT_SOURCES, "--charset", "NAME", &S::charset, false, checkFilledLine,
     "Character set of the content; default: UTF-8"},
    {DOCUMENT_SOURCES, "--index", "FIELD", &S::indexedFields, false, checkFilled,
     "Make this field searchable; may be repeated"},
    {DOCUMENT_SOURCES, "--sortable", "FIELD", &S::sortableFields, false, checkFilled,
     "Let hits be sorted by this field; may be repeated"},
    {bit(DOC_ADD), "--field", "NAME=VALUE", &S::fields, false, checkField,
     "A field of the document; may be repeated"},
    {bit(LOAD), "--key", "MEMBER", &S::keyMember, false, checkFilled,
     "NDJSON member that holds the key (default key); files named are then NDJSON"},
    {bit(LOAD), "--content", "MEMBER", &S::contentMember, false, checkFilled,
     "NDJSON member that holds the text (default content); files named are then NDJSON"},
    {bit(SEARCH), "--limit", "COUNT", &S::limit, false, checkLimit, "Hits to show at most"},
    {bit(SEARCH), "--offset", "COUNT", &S::offset, false, checkOffset, "Hits to skip first"},
    {bit(SEARCH), "--sort", "FIELD", &S::sort, false, checkFilledLine,
     "Sort by this field instead of by score"},
    {bit(SEARCH), "--stream", "", &S::stream, false, nullptr,
     "Show hits as they arrive, in bounded memory"},
    {bit(SEARCH), "--no-score", "", &S::noScore, false, nullptr, "Do not ask for scores"},
};

void addOption(CLI::App& app, const OptionRow& row, Settings& settings) {
  const auto bind = [&](auto member) -> CLI::Option* {
    auto& variable = settings.*member;
    using Type = std::remove_reference_t<decltype(variable)>;
    if constexpr (std::is_same_v<Type, bool>) {
      return app.add_flag(row.name, variable, row.help);
    } else {
      return app.add_option(row.name, variable, row.help);
    }
  };
  CLI::Option* option = std::visit(bind, row.target);
  const bool byPosition = row.name[0] != '-';
  if (row.value[0] != '\0') option->option_text(row.value);
  if (std::holds_alternative<std::vector<std::string> Settings::*>(row.target) && !byPosition) {
    option->allow_extra_args(false);  // one value each time, or it would swallow the arguments
  }
  option->required(row.required);
  if (row.check != nullptr) {
    const Check check = row.check;
    option->check(CLI::Validator([check](std::string& value) { return check(value); }, ""));
  }
}

std::string defaultText(const OptionRow& row, const Settings& defaults) {
  if (const auto* text = std::get_if<std::string Settings::*>(&row.target)) return defaults.**text;
  std::ostringstream number;
  if (const auto* count = std::get_if<std::uint32_t Settings::*>(&row.target)) {
    number << defaults.**count;
  } else if (const auto* seconds = std::get_if<double Settings::*>(&row.target)) {
    number << defaults.**seconds;
  }
  return number.str();
}

/// A mistyped command or option is what stays unread, and says more than that something is missing.
std::string usageText(const CLI::App& app, const CLI::ParseError& failure) {
  const bool unread = dynamic_cast<const CLI::ExtrasError*>(&failure) != nullptr ||
                      dynamic_cast<const CLI::RequiredError*>(&failure) != nullptr;
  const std::vector<std::string> rest = app.remaining(true);
  if (!unread || rest.empty()) return failure.what();
  return "'" + printable(rest.front()) + "' is not understood here";
}

/// The parser over the tables. Borrows the settings that it fills.
class Parser {
 public:
  explicit Parser(Settings& settings) : app_("Talks to a full-text search server.", "qorctl") {
    app_.set_version_flag("--version", std::string(qorcomm_component_marker));
    app_.require_subcommand(1);
    app_.fallthrough();  // global options may stand behind the command; subcommands inherit it
    for (const auto& [name, help] : GROUP_HELP) {
      groups_[name] = app_.add_subcommand(name, help)->require_subcommand(1);
    }
    for (const OptionRow& row : OPTIONS) {
      if (row.commands == ALL_COMMANDS) addGlobal(row, settings);
    }
    for (const CommandRow& row : COMMANDS) addCommand(row, settings);
  }

  CLI::App& app() { return app_; }

 private:
  void addGlobal(const OptionRow& row, Settings& settings) {
    addOption(app_, row, settings);
    const std::string text = row.required ? "" : defaultText(row, Settings());
    if (!text.empty()) {
      app_.get_option(row.name)->option_text(std::string(row.value) + " [" + text + "]");
    }
  }

  void addCommand(const CommandRow& row, Settings& settings) {
    CLI::App& parent = row.group == nullptr ? app_ : *groups_.at(row.group);
    CLI::App* command = parent.add_subcommand(row.name, row.help);
    command->callback([&settings, &row] { settings.command = row.command; });
    for (const OptionRow& option : OPTIONS) {
      if (option.commands != ALL_COMMANDS && (option.commands & bit(row.command)) != 0) {
        addOption(*command, option, settings);
      }
    }
  }

  CLI::App app_;
  std::map<std::string, CLI::App*> groups_;
};

}  // namespace

std::span<const CommandRow> commandTable() { return COMMANDS; }
std::span<const OptionRow> optionTable() { return OPTIONS; }

std::string commandName(Command command) {
  for (const CommandRow& row : COMMANDS) {
    if (row.command != command) continue;
    return row.group == nullptr ? row.name : std::string(row.group) + ' ' + row.name;
  }
  return "";
}

ParsedArguments parseArguments(int count, const char* const* arguments) {
  Settings settings;
  Parser parser(settings);
  try {
    parser.app().parse(count, arguments);
  } catch (const CLI::ParseError& failure) {
    std::ostringstream out;
    std::ostringstream errors;
    if (parser.app().exit(failure, out, errors) != 0) {
      throw CtlFailure(ExitCode::USAGE, usageText(parser.app(), failure));
    }
    return {std::nullopt, out.str()};
  }
  const std::string wrong = checkTogether(settings);
  if (!wrong.empty()) throw CtlFailure(ExitCode::USAGE, wrong);
  return {settings, ""};
}

}  // namespace orvix::ctl
