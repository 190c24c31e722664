// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/qorLedger.h"

#include <array>

namespace orvix::soak {

namespace {

/// No stemmer changes words that end so.
constexpr std::array<char, PLACES> MARKS{'p', 'q', 'z'};
constexpr int VERSIONS = (1 << Ledger::BITS) - 1;

std::string bitWord(int bit, int place) {
  return "bit" + std::to_string(bit) + MARKS.at(static_cast<std::size_t>(place));
}

std::string versionWord(int version, int place) {
  return "v" + std::to_string(version) + MARKS.at(static_cast<std::size_t>(place));
}

std::string wordsOf(int version, int place) {
  std::string words = versionWord(version, place);
  for (int bit = 0; bit < Ledger::BITS; ++bit) {
    if ((version >> bit & 1) != 0) words += " " + bitWord(bit, place);
  }
  return words;
}

std::string inWords(const std::set<int>& versions) {
  std::string text;
  for (const int version : versions) text += (text.empty() ? "" : " or ") + std::to_string(version);
  return text;
}

}  // namespace

int Ledger::begin(const std::string& key) {
  const std::scoped_lock lock(mutex_);
  int& issued = issued_[key];
  issued = issued % VERSIONS + 1;
  Entry& entry = entries_[key];
  entry.possible.insert(issued);
  ++entry.changes;
  return issued;
}

void Ledger::beginDelete(const std::string& key) {
  const std::scoped_lock lock(mutex_);
  Entry& entry = entries_[key];
  entry.possible.insert(0);
  ++entry.changes;
}

bool Ledger::settle(const std::string& key, int version) {
  const std::scoped_lock lock(mutex_);
  Entry& entry = entries_[key];
  const bool known = entry.possible.contains(version);
  entry.possible = {version};
  return known;
}

Entry Ledger::look(const std::string& key) const {
  const std::scoped_lock lock(mutex_);
  const auto found = entries_.find(key);
  return found == entries_.end() ? Entry() : found->second;
}

Entries Ledger::all() const {
  const std::scoped_lock lock(mutex_);
  return entries_;
}

void Ledger::replace(const Entries& entries) {
  const std::scoped_lock lock(mutex_);
  for (auto& [key, entry] : entries_) {
    const auto known = entries.find(key);
    entry.possible = known == entries.end() ? std::set{0} : known->second.possible;
    ++entry.changes;
  }
}

void Ledger::mayBe(const Entries& entries) {
  const std::scoped_lock lock(mutex_);
  for (auto& [key, entry] : entries_) {
    const auto known = entries.find(key);
    const std::set<int> others = known == entries.end() ? std::set{0} : known->second.possible;
    entry.possible.insert(others.begin(), others.end());
    ++entry.changes;
  }
}

std::string Ledger::compare(const Found& found) {
  const std::scoped_lock lock(mutex_);
  for (const auto& [key, version] : found) {
    if (!entries_.contains(key)) return "the document " + key + " was never sent";
  }
  for (auto& [key, entry] : entries_) {
    const auto there = found.find(key);
    const int version = there == found.end() ? 0 : there->second;
    if (!entry.possible.contains(version)) {
      return "the document " + key + " has version " + std::to_string(version) + " and not " +
             inWords(entry.possible);
    }
    entry.possible = {version};
  }
  return {};
}

std::string textOf(const std::string& key, int version, std::uint32_t fillers) {
  std::string text = wordsOf(version, 0) + " common " + key + " ";
  std::uint32_t state = static_cast<std::uint32_t>(version) * 2654435761U + fillers;
  for (std::uint32_t i = 0; i < fillers; ++i) {
    state = state * 1664525U + 1013904223U;
    text += "filler" + std::to_string((state >> 16U) % 3000U) + " ";
  }
  return text + wordsOf(version, 1);
}

std::string titleOf(int version) { return wordsOf(version, 2); }

std::string queryFor(const std::string& key, int version) {
  return "+" + key + " +" + versionWord(version, 0) + " +" + versionWord(version, 1) +
         " +title:" + versionWord(version, 2);
}

std::string queryForBit(int bit, int place) {
  return (place == PLACES - 1 ? "title:" : "") + bitWord(bit, place);
}

}  // namespace orvix::soak
