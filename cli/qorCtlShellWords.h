// SPDX-License-Identifier: Apache-2.0
// The tables of commands and options as completion scripts and the manual page need them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/qorCtlOptionTable.h"

namespace orvix::ctl {

/// A word that may stand somewhere, and what it does.
struct Candidate {
  std::string word;
  std::string help;
};

/// What may stand behind the words of `command`: the first words for "", a group's commands for the
/// group; else nothing.
[[nodiscard]] std::vector<Candidate> commandWords(std::string_view command);

/// Options with dashes, in the order of their rows: the command's own, and those of all commands.
[[nodiscard]] std::vector<const OptionRow*> ownOptions(const CommandRow& command);
[[nodiscard]] std::vector<const OptionRow*> globalOptions();
/// Arguments by position.
[[nodiscard]] std::vector<const OptionRow*> positionals(const CommandRow& command);

/// Where a value is typed: the command and the option before it, as a shell's `case` quotes them.
struct OptionPlace {
  std::string pattern;
  Values values;
};
/// Those of all commands first, behind any command; then each command's own.
[[nodiscard]] std::vector<OptionPlace> optionPlaces();

/// The commands that are two words.
[[nodiscard]] std::vector<std::string> groupedCommands();

/// All options with dashes that take a value, each once.
[[nodiscard]] std::vector<std::string> valuedOptions();

[[nodiscard]] std::string joined(const std::vector<std::string>& words, const char* between);

}  // namespace orvix::ctl
