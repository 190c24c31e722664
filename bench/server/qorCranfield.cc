// SPDX-License-Identifier: Apache-2.0
// A line that starts with ".I " opens an entry; ".T", ".A", ".B" and ".W" alone on a line open its
// sections.
#include "bench/server/qorCranfield.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace orvix::bench {

namespace {

/// An entry's number and its sections, by their letters.
struct Entry {
  std::string number;
  std::map<char, std::string> sections;
};

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& what) {
  throw std::runtime_error(file.string() + ": " + what);
}

std::ifstream openFile(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in) fail(file, "cannot be read");
  return in;
}

bool isSectionLine(std::string_view line) {
  constexpr std::string_view LETTERS = "TABW";
  return line.size() == 2 && line[0] == '.' && LETTERS.find(line[1]) != std::string_view::npos;
}

std::vector<Entry> readEntries(const std::filesystem::path& file) {
  constexpr std::string_view OPENING = ".I ";
  std::vector<Entry> entries;
  std::ifstream in = openFile(file);
  std::string* section = nullptr;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(OPENING)) {
      entries.push_back({line.substr(OPENING.size()), {}});
      section = nullptr;
    } else if (!entries.empty() && isSectionLine(line)) {
      section = &entries.back().sections[line[1]];
    } else if (section != nullptr) {
      *section += line + ' ';  // a line feed would end the line of a request
    } else if (!line.empty()) {
      fail(file, "text outside a section: " + line);
    }
  }
  if (entries.empty()) fail(file, "has no entries");
  return entries;
}

void readJudgements(const std::filesystem::path& file, std::vector<Question>& questions) {
  std::ifstream in = openFile(file);
  for (std::string line; std::getline(in, line);) {
    if (line.find_first_not_of(" \t\r") == line.npos) continue;
    std::istringstream words(line);
    std::size_t position = 0;
    std::string key;
    int code = 0;
    if (!(words >> position >> key >> code)) fail(file, "a line is not three numbers: " + line);
    if (position == 0 || position > questions.size()) {
      fail(file, "there is no question " + std::to_string(position));
    }
    questions[position - 1].judgements[key] = code;
  }
}

}  // namespace

Cranfield readCranfield(const std::filesystem::path& folder) {
  Cranfield all;
  for (Entry& entry : readEntries(folder / "cran.all.1400")) {
    all.abstracts.push_back(
        {std::move(entry.number), std::move(entry.sections['T']), std::move(entry.sections['W'])});
  }
  for (Entry& entry : readEntries(folder / "cran.qry")) {
    all.questions.push_back({std::move(entry.sections['W']), {}});
  }
  readJudgements(folder / "cranqrel", all.questions);
  return all;
}

}  // namespace orvix::bench
