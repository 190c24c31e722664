// SPDX-License-Identifier: Apache-2.0
// Completion for fish: one line for every word that may stand somewhere.
#include <string>

#include "cli/qorCtlShellWords.h"
#include "cli/qorCtlShells.h"

namespace orvix::ctl {

namespace {

std::string shellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char letter : text) {
    if (letter == '\'' || letter == '\\') quoted += '\\';
    quoted += letter;
  }
  return quoted + "'";
}

/// The condition that the cursor stands behind `command`, and behind `count` arguments of it.
std::string at(const std::string& command, const std::string& count = "") {
  const std::string words = command.empty() ? "''" : "\"" + command + "\"";
  return " -n " + shellQuoted("__qorctl_at " + words + (count.empty() ? "" : ' ' + count));
}

void writeFunctions(std::ostream& out) {
  out << "# Completion of qorctl for fish: install it as qorctl.fish in a folder of completions.\n"
         "# Words that are neither options nor their values.\n"
         "function __qorctl_plain\n"
         "    set -l words (commandline -opc)\n"
         "    set -l skip no\n"
         "    for word in $words[2..-1]\n"
         "        if test $skip = yes\n"
         "            set skip no\n"
         "            continue\n"
         "        end\n"
         "        switch $word\n"
         "            case "
      << joined(valuedOptions(), " ")
      << "\n"
         "                set skip yes\n"
         "            case '-*'\n"
         "            case '*'\n"
         "                printf '%s\\n' $word\n"
         "        end\n"
         "    end\n"
         "end\n"
         "# Whether the command is $argv[1] and has $argv[2] arguments; any number without it.\n"
         "function __qorctl_at\n"
         "    set -l plain (__qorctl_plain)\n"
         "    set -l own 1\n"
         "    switch \"$plain[1] $plain[2]\"\n";
  for (const CommandRow& row : commandTable()) {
    if (row.group == nullptr || row.name[0] == '\0') continue;
    out << "        case '" << commandName(row) << "'\n            set own 2\n";
  }
  out << "    end\n"
         "    test (count $plain) -gt 0; or set own 0\n"
         "    set -l command ''\n"
         "    test $own -gt 0; and set command \"$plain[1..$own]\"\n"
         "    test \"$command\" = \"$argv[1]\"; or return 1\n"
         "    test (count $argv) -eq 1; or test (math (count $plain) - $own) -eq $argv[2]\n"
         "end\n"
         "complete -c qorctl -f\n";
}

void writeWords(std::ostream& out, const std::string& command) {
  for (const Candidate& candidate : commandWords(command)) {
    out << "complete -c qorctl" << at(command, "0") << " -a " << candidate.word << " -d "
        << shellQuoted(candidate.help) << '\n';
  }
}

std::string valuesText(Values values) {
  if (values == Values::ANY) return "";
  if (values == Values::PATH) return " -F";
  return " -a " + shellQuoted(joined(choicesOf(values), " "));
}

void writeOption(std::ostream& out, const std::string& condition, const OptionRow& option) {
  const char* const longName = option.name + 2;
  out << "complete -c qorctl" << condition << " -l " << longName;
  if (!isFlag(option)) {
    out << (option.values == Values::PATH ? " -r" : " -x") << valuesText(option.values);
  }
  out << " -d " << shellQuoted(option.help) << '\n';
}

}  // namespace

void writeFishCompletion(std::ostream& out) {
  writeFunctions(out);
  writeWords(out, "");
  for (const GroupRow& group : groupTable()) writeWords(out, group.name);
  for (const OptionRow* option : globalOptions()) writeOption(out, "", *option);
  for (const CommandRow& row : commandTable()) {
    const std::string command = commandName(row);
    for (const OptionRow* option : ownOptions(row)) writeOption(out, at(command), *option);
    const auto arguments = positionals(row);
    for (std::size_t place = 0; place < arguments.size(); ++place) {
      const std::string values = valuesText(arguments[place]->values);
      if (values.empty()) continue;
      const std::string count = isRepeatable(*arguments[place]) ? "" : std::to_string(place);
      out << "complete -c qorctl" << at(command, count) << values << '\n';
    }
  }
}

}  // namespace orvix::ctl
