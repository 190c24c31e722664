// SPDX-License-Identifier: Apache-2.0
// Looks explanations up and lays them out.
#include "cli/qorCtlExplain.h"

#include <algorithm>
#include <charconv>

#include "cli/qorCtlContext.h"
#include "cli/qorCtlExit.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

constexpr char EXIT_WORD[] = "exit code ";

char upperCase(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool sameId(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return upperCase(a) == upperCase(b); });
}

bool isExitCode(std::string_view id) { return !id.empty() && id[0] >= '0' && id[0] <= '9'; }

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

void writePart(std::ostream& out, const char* title, const std::vector<std::string>& lines) {
  if (lines.empty()) return;
  out << '\n' << title << '\n';
  for (const std::string& line : lines) out << "  " << line << '\n';
}

void writeForPeople(std::ostream& out, const Explanation& explanation) {
  out << (isExitCode(explanation.id) ? EXIT_WORD : "") << explanation.id << ": "
      << meaningOf(explanation) << '\n';
  writePart(out, "Likely causes", linesOf(explanation.causes));
  writePart(out, "What to check", linesOf(explanation.checks));
  writePart(out, "Is a retry safe?", linesOf(explanation.retry));
}

void listAll(const Context& context) {
  const auto rows = context.rows({{"id"}, {"meaning"}});
  for (const Explanation& row : explanationTable()) {
    rows->write({std::string(row.id), meaningOf(row)});
  }
  rows->finish();
}

}  // namespace

const Explanation* findExplanation(std::string_view id) {
  for (const Explanation& row : explanationTable()) {
    if (sameId(row.id, id)) return &row;
  }
  return nullptr;
}

std::string meaningOf(const Explanation& explanation) {
  if (!isExitCode(explanation.id)) return std::string(explanation.meaning);
  int code = 0;
  std::from_chars(explanation.id.data(), explanation.id.data() + explanation.id.size(), code);
  return std::string(exitRow(static_cast<ExitCode>(code)).meaning);
}

std::vector<std::string> explainedIds() {
  std::vector<std::string> ids;
  for (const Explanation& row : explanationTable()) ids.emplace_back(row.id);
  return ids;
}

ExitCode explain(Context& context) {
  const std::string& id = context.settings().explainId;
  if (id.empty()) {
    listAll(context);
    return ExitCode::DONE;
  }
  const Explanation* const found = findExplanation(id);
  if (found == nullptr) {
    throw CtlFailure(ExitCode::USAGE,
                     "'" + printable(id) + "' is not known here; qorctl explain lists what is");
  }
  if (context.format() == OutputFormat::TABLE) {
    writeForPeople(context.terminal().out, *found);
  } else {
    context.writeRow({{"id"}, {"meaning"}, {"causes"}, {"checks"}, {"retry"}},
                     {std::string(found->id), meaningOf(*found), std::string(found->causes),
                      std::string(found->checks), std::string(found->retry)});
  }
  return ExitCode::DONE;
}

}  // namespace orvix::ctl
