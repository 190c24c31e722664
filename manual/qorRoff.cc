// SPDX-License-Identifier: Apache-2.0
#include "manual/qorRoff.h"

#include <algorithm>

namespace orvix::roff {

std::string safe(std::string_view text) {
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

std::string bold(std::string_view text) { return "\\fB" + safe(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + safe(text) + "\\fR"; }

void writeTitle(std::ostream& out, std::string_view page, int section, std::string_view source,
                std::string_view manual) {
  out << ".TH " << page << ' ' << section << " \"\" \"" << source << "\" \"" << manual << "\"\n";
}

void writeSection(std::ostream& out, std::string_view title, std::string_view text) {
  out << ".SH \"" << title << "\"\n";
  writeFilled(out, text);
}

void writeEntry(std::ostream& out, std::string_view term, std::string_view text) {
  out << ".TP\n" << term << '\n';
  writeFilled(out, text);
}

void writeFilled(std::ostream& out, std::string_view text) {
  constexpr std::size_t LINE = 70;
  while (!text.empty()) {
    std::size_t end = text.size() <= LINE ? text.size() : text.rfind(' ', LINE);
    if (end == std::string_view::npos) end = std::min(text.find(' '), text.size());
    out << safe(text.substr(0, end)) << '\n';  // it has to see each line's start
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace orvix::roff
