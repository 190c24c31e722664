// SPDX-License-Identifier: Apache-2.0
// The manual page: every command with its arguments and options, and the exit codes.
#include <string>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlShellWords.h"
#include "cli/qorCtlShells.h"
#include "cli/qorCtlVersion.h"
#include "manual/qorRoff.h"

namespace orvix::ctl {

namespace {

using roff::bold;
using roff::italic;
using roff::writeEntry;
using roff::writeSection;

std::string argumentText(const OptionRow& argument) {
  std::string text = italic(argument.value);
  if (isRepeatable(argument)) text += "...";
  return argument.required ? text : "[" + text + "]";
}

void writeOption(std::ostream& out, const OptionRow& option) {
  const std::string term =
      isPositional(option) ? italic(option.value)
                           : bold(option.name) + (isFlag(option) ? "" : " " + italic(option.value));
  const std::string usual = isPositional(option) ? "" : defaultText(option);
  writeEntry(out, term,
             std::string(option.help) + (usual.empty() ? "" : ". Default: " + usual) + ".");
}

void writeCommand(std::ostream& out, const CommandRow& row) {
  std::string line = bold(commandName(row));
  const auto arguments = positionals(row);
  for (const OptionRow* argument : arguments) line += ' ' + argumentText(*argument);
  out << ".SS " << line << '\n' << roff::safe(row.help) << ".\n";
  for (const OptionRow* argument : arguments) writeOption(out, *argument);
  for (const OptionRow* option : ownOptions(row)) writeOption(out, *option);
}

void writeExitCodes(std::ostream& out) {
  writeSection(out, "EXIT STATUS");
  for (const ExitRow& row : EXIT_TABLE) {
    const std::string remedy = row.remedy.empty() ? "" : "; " + std::string(row.remedy);
    writeEntry(out, bold(std::to_string(static_cast<int>(row.code))),
               std::string(row.meaning) + remedy + ".");
  }
}

}  // namespace

void writeManualPage(std::ostream& out) {
  roff::writeTitle(out, "QORCTL", 1, nameAndVersion(), "User commands");
  writeSection(out, "NAME", "qorctl - talk to a full-text search server");
  writeSection(out, "SYNOPSIS");
  out << bold("qorctl") << " [" << italic("OPTION") << "]... " << italic("COMMAND") << " ["
      << italic("ARGUMENT") << "]... [" << italic("OPTION") << "]...\n";
  writeSection(
      out, "DESCRIPTION",
      "Creates collections, loads documents, searches, and looks after the server. Data goes "
      "to standard output, everything else to standard error.");
  writeSection(out, "OPTIONS", "These may stand before or behind every command.");
  for (const OptionRow* option : globalOptions()) writeOption(out, *option);
  writeSection(out, "COMMANDS");
  for (const CommandRow& row : commandTable()) writeCommand(out, row);
  writeExitCodes(out);
  writeSection(out, "ENVIRONMENT");
  writeEntry(
      out, bold("NO_COLOR"),
      "When it is set to anything, nothing is coloured. Nothing is, either, where no terminal "
      "shows it.");
  writeSection(out, "SEE ALSO");
  out << bold("qorserver") << "(8)\n";
}

}  // namespace orvix::ctl
