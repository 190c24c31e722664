// SPDX-License-Identifier: Apache-2.0
// The one table of commands and the one table of options: the parser and its help are built from
// them, and a new command or option is a new row.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "cli/qorCtlSettings.h"
#include "cli/qorCtlValidate.h"

namespace orvix::ctl {

struct CommandRow {
  Command command;
  const char* group;  ///< first word of a two-word command; null: none
  const char* name;
  const char* help;
};

/// Where a value goes.
using Target = std::variant<std::string Settings::*, bool Settings::*, std::uint32_t Settings::*,
                            double Settings::*, std::optional<std::uint32_t> Settings::*,
                            std::vector<std::string> Settings::*>;

struct OptionRow {
  std::uint32_t commands;  ///< a bit per command; ALL_COMMANDS: global
  const char* name;        ///< without dashes: an argument by position
  const char* value;       ///< what the help calls its value; empty for a flag
  Target target;
  bool required;
  Check check;  ///< null: anything goes
  const char* help;
};

inline constexpr std::uint32_t ALL_COMMANDS = ~std::uint32_t{0};

[[nodiscard]] std::span<const CommandRow> commandTable();
[[nodiscard]] std::span<const OptionRow> optionTable();
/// "collection create"
[[nodiscard]] std::string commandName(Command command);

struct ParsedArguments {
  std::optional<Settings> settings;
  std::string text;  ///< what to print instead, when there are no settings: the help, say
};

/// Throws CtlFailure USAGE, saying which argument is wrong and why.
[[nodiscard]] ParsedArguments parseArguments(int count, const char* const* arguments);

}  // namespace orvix::ctl
