// SPDX-License-Identifier: Apache-2.0
// Completion for zsh: the same walk as for bash, with what each word does beside it.
#include <string>

#include "cli/qorCtlShellWords.h"
#include "cli/qorCtlShells.h"

namespace orvix::ctl {

namespace {

/// 'word:what it does' as an element of an array.
std::string described(const std::string& word, const std::string& help) {
  std::string text = "'" + word + ':';
  for (const char letter : help) text += letter == '\'' ? "'\\''" : std::string(1, letter);
  return text + "'";
}

std::string describedWords(const std::vector<Candidate>& candidates) {
  std::string text;
  for (const Candidate& candidate : candidates) {
    text += (text.empty() ? "" : " ") + described(candidate.word, candidate.help);
  }
  return text;
}

std::string describedOptions(const std::vector<const OptionRow*>& options) {
  std::string text;
  for (const OptionRow* option : options) {
    text += (text.empty() ? "" : " ") + described(option->name, option->help);
  }
  return text;
}

void writeStart(std::ostream& out) {
  out << "#compdef qorctl\n"
         "# Completion of qorctl for zsh: install it as _qorctl in a folder of $fpath, or source "
         "it.\n"
         "_qorctl() {\n"
         "  local command='' word previous=${words[CURRENT-1]} i\n"
         "  local -a plain candidates\n"
         "  for ((i = 2; i < CURRENT; ++i)); do\n"
         "    word=${words[i]}\n"
         "    case $word in\n"
         "      ("
      << joined(valuedOptions(), "|")
      << ") ((++i)) ;;\n"
         "      (-*) ;;\n"
         "      (*) plain+=(\"$word\") ;;\n"
         "    esac\n"
         "  done\n"
         "  command=${plain[1]}\n"
         "  shift plain 2>/dev/null\n"
         "  case \"$command ${plain[1]}\" in\n";
  for (const std::string& name : groupedCommands()) {
    out << "    ('" << name << "') command='" << name << "'; shift plain ;;\n";
  }
  out << "  esac\n";
}

void writeValue(std::ostream& out, const std::string& pattern, Values values) {
  if (values == Values::ANY) return;
  out << "    (" << pattern << ") ";
  if (values == Values::PATH) {
    out << "_files; return ;;\n";
  } else {
    out << "compadd -- " << joined(choicesOf(values), " ") << "; return ;;\n";
  }
}

void writeOptionValues(std::ostream& out) {
  out << "  case \"$command $previous\" in\n";
  for (const OptionPlace& place : optionPlaces()) writeValue(out, place.pattern, place.values);
  for (const std::string& name : valuedOptions()) out << "    (*' " << name << "') return ;;\n";
  out << "  esac\n";
}

void writeOptions(std::ostream& out) {
  out << "  if [[ ${words[CURRENT]} == -* ]]; then\n"
         "    candidates=("
      << describedOptions(globalOptions())
      << " '--help:Show the help')\n"
         "    case $command in\n";
  for (const CommandRow& row : commandTable()) {
    const auto options = ownOptions(row);
    if (options.empty()) continue;
    out << "      ('" << commandName(row) << "') candidates+=(" << describedOptions(options)
        << ") ;;\n";
  }
  out << "    esac\n"
         "    _describe -o option candidates\n"
         "    return\n"
         "  fi\n";
}

void writeArguments(std::ostream& out) {
  out << "  case \"$command:${#plain}\" in\n"
         "    (:0) candidates=("
      << describedWords(commandWords("")) << ") ;;\n";
  for (const GroupRow& group : groupTable()) {
    out << "    ('" << group.name << "':0) candidates=(" << describedWords(commandWords(group.name))
        << ") ;;\n";
  }
  out << "  esac\n"
         "  [[ ${#candidates} -eq 0 ]] || _describe command candidates\n"
         "  case \"$command:${#plain}\" in\n";
  for (const CommandRow& row : commandTable()) {
    const auto arguments = positionals(row);
    for (std::size_t at = 0; at < arguments.size(); ++at) {
      const std::string place = isRepeatable(*arguments[at]) ? "*" : std::to_string(at);
      writeValue(out, '\'' + commandName(row) + "':" + place, arguments[at]->values);
    }
  }
  out << "  esac\n"
         "}\n"
         "if [[ ${funcstack[1]} == _qorctl ]]; then _qorctl \"$@\"; else compdef _qorctl qorctl; "
         "fi\n";
}

}  // namespace

void writeZshCompletion(std::ostream& out) {
  writeStart(out);
  writeOptionValues(out);
  writeOptions(out);
  writeArguments(out);
}

}  // namespace orvix::ctl
