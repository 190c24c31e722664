// SPDX-License-Identifier: Apache-2.0
// Completion for bash, without helpers from elsewhere. The script finds the command among the words
// before the cursor and then looks up what may come.
#include <string>

#include "cli/qorCtlShellWords.h"
#include "cli/qorCtlShells.h"

namespace orvix::ctl {

namespace {

std::string wordsOf(const std::vector<Candidate>& candidates) {
  std::vector<std::string> words;
  words.reserve(candidates.size());
  for (const Candidate& candidate : candidates) words.push_back(candidate.word);
  return joined(words, " ");
}

std::string namesOf(const std::vector<const OptionRow*>& options) {
  std::vector<std::string> names;
  names.reserve(options.size());
  for (const OptionRow* option : options) names.emplace_back(option->name);
  return joined(names, " ");
}

void writeStart(std::ostream& out) {
  out << "# Completion of qorctl for bash: source this, or install it as completions/qorctl.\n"
         "_qorctl() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  local command='' word i words='' files=''\n"
         "  local -a plain=()\n"
         "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
         "    word=${COMP_WORDS[i]}\n"
         "    case $word in\n"
         "      "
      << joined(valuedOptions(), " | ")
      << ") ((++i)) ;;\n"
         "      -*) ;;\n"
         "      *) plain+=(\"$word\") ;;\n"
         "    esac\n"
         "  done\n";
}

/// The command and, in `plain`, the arguments behind it.
void writeCommandSearch(std::ostream& out) {
  out << "  command=${plain[0]-}\n"
         "  plain=(\"${plain[@]:1}\")\n"
         "  case \"$command ${plain[0]-}\" in\n";
  for (const std::string& name : groupedCommands()) {
    out << "    '" << name << "') command='" << name << "'; plain=(\"${plain[@]:1}\") ;;\n";
  }
  out << "  esac\n";
}

void writeValue(std::ostream& out, const std::string& pattern, Values values) {
  if (values == Values::ANY) return;
  out << "    " << pattern << ") ";
  if (values == Values::PATH) {
    out << "files=yes ;;\n";
  } else {
    out << "words='" << joined(choicesOf(values), " ") << "' ;;\n";
  }
}

void writeOptionValues(std::ostream& out) {
  out << "  case \"$command $previous\" in\n";
  for (const OptionPlace& place : optionPlaces()) writeValue(out, place.pattern, place.values);
  // A value of any kind: nothing to offer.
  for (const std::string& name : valuedOptions()) out << "    *' " << name << "') return ;;\n";
  out << "    *) _qorctl_argument ;;\n"
         "  esac\n";
}

void writeEnd(std::ostream& out) {
  out << "  if [[ -n $files ]]; then\n"
         "    compopt -o filenames 2>/dev/null || :  # outside of a completion: nothing to set\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
         "  else\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "  fi\n"
         "}\n"
         "complete -F _qorctl qorctl\n";
}

void writeArguments(std::ostream& out) {
  out << "_qorctl_argument() {\n"
         "  if [[ $current == -* ]]; then\n"
         "    words='"
      << namesOf(globalOptions())
      << " --help --version'\n"
         "    case $command in\n";
  for (const CommandRow& row : commandTable()) {
    const auto options = ownOptions(row);
    if (options.empty()) continue;
    out << "      '" << commandName(row) << "') words+=' " << namesOf(options) << "' ;;\n";
  }
  out << "    esac\n"
         "    return\n"
         "  fi\n"
         "  case \"$command:${#plain[@]}\" in\n"
         "    :0) words='"
      << wordsOf(commandWords("")) << "' ;;\n";
  for (const CommandRow& row : commandTable()) {
    const auto arguments = positionals(row);
    for (std::size_t at = 0; at < arguments.size(); ++at) {
      const std::string place = isRepeatable(*arguments[at]) ? "*" : std::to_string(at);
      writeValue(out, '\'' + commandName(row) + "':" + place, arguments[at]->values);
    }
  }
  out << "  esac\n";
  for (const GroupRow& group : groupTable()) {
    out << "  [[ \"$command:${#plain[@]}\" != '" << group.name << ":0' ]] || words+=' "
        << wordsOf(commandWords(group.name)) << "'\n";
  }
  out << "}\n";
}

}  // namespace

void writeBashCompletion(std::ostream& out) {
  writeStart(out);
  writeCommandSearch(out);
  writeOptionValues(out);
  writeEnd(out);
  writeArguments(out);
}

}  // namespace orvix::ctl
