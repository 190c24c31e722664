// SPDX-License-Identifier: Apache-2.0
#include "bench/server/qorTexts.h"

#include <cmath>
#include <cstdint>
#include <random>
#include <string_view>

namespace orvix::bench {

namespace {

constexpr double VOCABULARY = 20'000;
constexpr std::size_t KEY_LENGTH = 16;
constexpr std::size_t QUERIES = 64;
constexpr std::size_t QUERY_WORDS = 3;
constexpr std::uint32_t QUERY_SEED = 4711;

/// Syllables as digits: every rank is another word of 4 to 10 letters.
std::string word(std::size_t rank) {
  constexpr std::string_view CONSONANTS = "bdfgklmnprst";
  constexpr std::string_view VOWELS = "aeiou";
  constexpr std::size_t SYLLABLES = CONSONANTS.size() * VOWELS.size();
  std::string text;
  for (std::size_t left = rank + SYLLABLES; left != 0; left /= SYLLABLES) {
    const std::size_t syllable = left % SYLLABLES;
    text += CONSONANTS[syllable % CONSONANTS.size()];
    text += VOWELS[syllable / CONSONANTS.size()];
  }
  return text;
}

/// Ranks are as frequent as 1 / rank. The library's distributions are not the same everywhere.
std::size_t rankFrom(std::mt19937& random) {
  const double share = static_cast<double>(random()) / static_cast<double>(std::mt19937::max());
  return static_cast<std::size_t>(std::pow(VOCABULARY, share)) - 1;
}

std::string words(std::mt19937& random, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += word(rankFrom(random)) + ' ';
  text.pop_back();
  return text;
}

}  // namespace

std::string textKey(std::size_t number) {
  const std::string digits = std::to_string(number);
  return std::string(KEY_LENGTH - digits.size(), '0') + digits;
}

std::string textOf(std::size_t number) {
  std::mt19937 random(static_cast<std::uint32_t>(number));
  return words(random, TEXT_WORDS);
}

std::vector<std::string> textsFrom(std::size_t first, std::size_t count) {
  std::vector<std::string> texts;
  for (std::size_t i = first; i < first + count; ++i) texts.push_back(textOf(i));
  return texts;
}

std::vector<std::string> textQueries() {
  std::mt19937 random(QUERY_SEED);
  std::vector<std::string> queries;
  for (std::size_t i = 0; i < QUERIES; ++i) queries.push_back(words(random, QUERY_WORDS));
  return queries;
}

}  // namespace orvix::bench
