// SPDX-License-Identifier: Apache-2.0
// The manual page: every command with its arguments and options, and the exit codes.
#include <algorithm>
#include <string>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlShellWords.h"
#include "cli/qorCtlShells.h"
#include "cli/qorCtlVersion.h"

namespace orvix::ctl {

namespace {

/// Text that roff takes as it is.
std::string roff(std::string_view text) {
  std::string safe;
  for (const char letter : text) {
    if (letter == '\\') {
      safe += "\\e";
    } else if (letter == '-') {
      safe += "\\-";
    } else {
      safe += letter;
    }
  }
  const bool looksLikeARequest = !safe.empty() && (safe[0] == '.' || safe[0] == '\'');
  return looksLikeARequest ? "\\&" + safe : safe;
}

std::string bold(std::string_view text) { return "\\fB" + roff(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + roff(text) + "\\fR"; }

/// Text in lines of a length that roff's tools like. roff() has to see each line's start.
void writeFilled(std::ostream& out, std::string_view text) {
  constexpr std::size_t LINE = 70;
  while (!text.empty()) {
    std::size_t end = text.size() <= LINE ? text.size() : text.rfind(' ', LINE);
    if (end == std::string_view::npos) end = std::min(text.find(' '), text.size());
    out << roff(text.substr(0, end)) << '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void writeSection(std::ostream& out, const char* title, std::string_view text) {
  out << ".SH " << title << '\n';
  writeFilled(out, text);
}

std::string argumentText(const OptionRow& argument) {
  std::string text = italic(argument.value);
  if (isRepeatable(argument)) text += "...";
  return argument.required ? text : "[" + text + "]";
}

void writeOption(std::ostream& out, const OptionRow& option) {
  out << ".TP\n";
  if (isPositional(option)) {
    out << italic(option.value) << '\n';
  } else {
    out << bold(option.name) << (isFlag(option) ? "" : " " + italic(option.value)) << '\n';
  }
  const std::string usual = isPositional(option) ? "" : defaultText(option);
  writeFilled(out, std::string(option.help) + (usual.empty() ? "" : ". Default: " + usual) + ".");
}

void writeCommand(std::ostream& out, const CommandRow& row) {
  std::string line = bold(commandName(row));
  const auto arguments = positionals(row);
  for (const OptionRow* argument : arguments) line += ' ' + argumentText(*argument);
  out << ".SS " << line << '\n' << roff(row.help) << ".\n";
  for (const OptionRow* argument : arguments) writeOption(out, *argument);
  for (const OptionRow* option : ownOptions(row)) writeOption(out, *option);
}

void writeExitCodes(std::ostream& out) {
  writeSection(out, "\"EXIT STATUS\"", "");
  for (const ExitRow& row : EXIT_TABLE) {
    out << ".TP\n" << bold(std::to_string(static_cast<int>(row.code))) << '\n';
    const std::string remedy = row.remedy.empty() ? "" : "; " + std::string(row.remedy);
    writeFilled(out, std::string(row.meaning) + remedy + ".");
  }
}

}  // namespace

void writeManualPage(std::ostream& out) {
  out << ".TH QORCTL 1 \"\" \"" << nameAndVersion() << "\" \"User commands\"\n";
  writeSection(out, "NAME", "qorctl - talk to a full-text search server");
  writeSection(out, "SYNOPSIS", "");
  out << bold("qorctl") << " [" << italic("OPTION") << "]... " << italic("COMMAND") << " ["
      << italic("ARGUMENT") << "]... [" << italic("OPTION") << "]...\n";
  writeSection(
      out, "DESCRIPTION",
      "Creates collections, loads documents, searches, and looks after the server. Data goes "
      "to standard output, everything else to standard error.");
  writeSection(out, "OPTIONS", "These may stand before or behind every command.");
  for (const OptionRow* option : globalOptions()) writeOption(out, *option);
  writeSection(out, "COMMANDS", "");
  for (const CommandRow& row : commandTable()) writeCommand(out, row);
  writeExitCodes(out);
  writeSection(out, "ENVIRONMENT", "");
  out << ".TP\n" << bold("NO_COLOR") << '\n';
  writeFilled(
      out,
      "When it is set to anything, nothing is coloured. Nothing is, either, where no terminal "
      "shows it.");
}

}  // namespace orvix::ctl
