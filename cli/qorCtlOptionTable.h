// SPDX-License-Identifier: Apache-2.0
// The one table of commands and the one table of options: the parser, its help, the completion of
// the shells and the manual page are built from them. A new command or option is a new row.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/qorCtlSettings.h"
#include "cli/qorCtlValidate.h"

namespace orvix::ctl {

struct CommandRow {
  Command command;
  const char* group;  ///< first word of a two-word command; null: none
  const char* name;   ///< empty: the group's word alone is a command, too
  const char* help;
};

struct GroupRow {
  const char* name;
  const char* help;
};

/// Where a value goes.
using Target =
    std::variant<std::string Settings::*, bool Settings::*, std::uint32_t Settings::*,
                 double Settings::*, std::optional<std::uint32_t> Settings::*,
                 std::optional<std::string> Settings::*, std::vector<std::string> Settings::*>;

/// What a value may be. Shells complete it; forms and shells' names are checked against their list.
enum class Values : std::uint32_t { ANY, PATH, OUTPUT_FORM, INPUT_FORM, KIND, MESSAGE_ID, SHELL };

struct OptionRow {
  std::uint32_t commands;  ///< a bit per command; ALL_COMMANDS: global
  const char* name;        ///< without dashes: an argument by position
  const char* value;       ///< what the help calls its value; empty for a flag
  Target target;
  bool required;
  Check check;  ///< null: anything goes
  Values values;
  const char* help;
};

inline constexpr std::uint32_t ALL_COMMANDS = ~std::uint32_t{0};

[[nodiscard]] std::span<const CommandRow> commandTable();
[[nodiscard]] std::span<const GroupRow> groupTable();
[[nodiscard]] std::span<const OptionRow> optionTable();

/// "collection create"
[[nodiscard]] std::string commandName(const CommandRow& row);
[[nodiscard]] std::string commandName(Command command);

/// Whether the option belongs to the command and to few others: not to all.
[[nodiscard]] bool isOwnOption(const OptionRow& option, const CommandRow& command);
[[nodiscard]] bool isPositional(const OptionRow& option);
[[nodiscard]] bool isFlag(const OptionRow& option);
[[nodiscard]] bool isRepeatable(const OptionRow& option);
/// Empty when there is none worth telling.
[[nodiscard]] std::string defaultText(const OptionRow& option);

/// The list of values; empty where there is none.
[[nodiscard]] std::vector<std::string> choicesOf(Values values);

}  // namespace orvix::ctl
