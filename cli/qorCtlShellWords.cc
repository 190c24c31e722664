// SPDX-License-Identifier: Apache-2.0
// Walks over the tables.
#include "cli/qorCtlShellWords.h"

#include <algorithm>

namespace orvix::ctl {

namespace {

template <class Wanted>
std::vector<const OptionRow*> optionsWhere(Wanted wanted) {
  std::vector<const OptionRow*> options;
  for (const OptionRow& row : optionTable()) {
    if (wanted(row)) options.push_back(&row);
  }
  return options;
}

}  // namespace

std::vector<Candidate> commandWords(std::string_view command) {
  std::vector<Candidate> words;
  for (const CommandRow& row : commandTable()) {
    const bool fits = row.group == nullptr ? command.empty() : command == row.group;
    if (fits && row.name[0] != '\0') words.push_back({row.name, row.help});
  }
  if (command.empty()) {
    for (const GroupRow& row : groupTable()) words.push_back({row.name, row.help});
  }
  return words;
}

std::vector<const OptionRow*> ownOptions(const CommandRow& command) {
  return optionsWhere(
      [&](const OptionRow& row) { return isOwnOption(row, command) && !isPositional(row); });
}

std::vector<const OptionRow*> globalOptions() {
  return optionsWhere([](const OptionRow& row) { return row.commands == ALL_COMMANDS; });
}

std::vector<const OptionRow*> positionals(const CommandRow& command) {
  return optionsWhere(
      [&](const OptionRow& row) { return isOwnOption(row, command) && isPositional(row); });
}

std::vector<OptionPlace> optionPlaces() {
  std::vector<OptionPlace> places;
  for (const OptionRow* option : globalOptions()) {
    places.push_back({std::string("*' ") + option->name + "'", option->values});
  }
  for (const CommandRow& row : commandTable()) {
    for (const OptionRow* option : ownOptions(row)) {
      places.push_back({'\'' + commandName(row) + ' ' + option->name + '\'', option->values});
    }
  }
  return places;
}

std::vector<std::string> groupedCommands() {
  std::vector<std::string> names;
  for (const CommandRow& row : commandTable()) {
    if (row.group != nullptr && row.name[0] != '\0') names.push_back(commandName(row));
  }
  return names;
}

std::vector<std::string> valuedOptions() {
  std::vector<std::string> names;
  for (const OptionRow& row : optionTable()) {
    if (isPositional(row) || isFlag(row)) continue;
    if (std::find(names.begin(), names.end(), row.name) == names.end()) names.push_back(row.name);
  }
  return names;
}

std::string joined(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

}  // namespace orvix::ctl
