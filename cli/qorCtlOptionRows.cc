// SPDX-License-Identifier: Apache-2.0
// What follows from a row of the tables.
#include <sstream>

#include "cli/qorCtlDocumentSource.h"
#include "cli/qorCtlExplain.h"
#include "cli/qorCtlOptionTable.h"
#include "cli/qorCtlOutput.h"
#include "cli/qorCtlShells.h"
#include "cli/qorCtlWireKinds.h"

namespace orvix::ctl {

namespace {

template <class Names>
std::vector<std::string> textsOf(const Names& names) {
  return {names.begin(), names.end()};
}

}  // namespace

std::string commandName(const CommandRow& row) {
  if (row.group == nullptr) return row.name;
  return row.name[0] == '\0' ? row.group : std::string(row.group) + ' ' + row.name;
}

std::string commandName(Command command) {
  for (const CommandRow& row : commandTable()) {
    if (row.command == command) return commandName(row);
  }
  return "";
}

bool isOwnOption(const OptionRow& option, const CommandRow& command) {
  const std::uint32_t bit = std::uint32_t{1} << static_cast<std::uint32_t>(command.command);
  return option.commands != ALL_COMMANDS && (option.commands & bit) != 0;
}

bool isPositional(const OptionRow& option) { return option.name[0] != '-'; }

bool isFlag(const OptionRow& option) { return option.value[0] == '\0'; }

bool isRepeatable(const OptionRow& option) {
  return std::holds_alternative<std::vector<std::string> Settings::*>(option.target);
}

std::string defaultText(const OptionRow& option) {
  const Settings defaults;
  std::ostringstream text;
  if (const auto* value = std::get_if<std::string Settings::*>(&option.target)) {
    text << defaults.**value;
  } else if (const auto* count = std::get_if<std::uint32_t Settings::*>(&option.target)) {
    text << defaults.**count;
  } else if (const auto* seconds = std::get_if<double Settings::*>(&option.target)) {
    text << defaults.**seconds;
  }
  return text.str();
}

std::vector<std::string> choicesOf(Values values) {
  switch (values) {
    case Values::OUTPUT_FORM:
      return textsOf(OUTPUT_FORMATS);
    case Values::INPUT_FORM:
      return textsOf(INPUT_FORMS);
    case Values::KIND:
      return wireKindNames();
    case Values::MESSAGE_ID:
      return explainedIds();
    case Values::SHELL:
      return textsOf(SHELLS);
    case Values::ANY:
    case Values::PATH:
      break;
  }
  return {};
}

}  // namespace orvix::ctl
