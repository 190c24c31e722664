// SPDX-License-Identifier: Apache-2.0
// A language without a stemmer is not an error: its words are indexed as they stand.
#include "server/qorLanguages.h"

#include <initializer_list>

#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

std::string firstGiven(const Properties& properties, std::initializer_list<const std::string*> keys,
                       const std::string& otherwise) {
  for (const std::string* key : keys) {
    std::string language = primaryLanguage(valueOf(properties, *key));
    if (!language.empty()) return language;
  }
  return otherwise;
}

}  // namespace

std::string primaryLanguage(std::string_view tag) {
  std::string language(tag.substr(0, tag.find_first_of("_-.@")));
  for (char& letter : language) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return language;
}

Xapian::Stem stemmerOf(std::string_view tag) {
  return Xapian::Stem(primaryLanguage(tag), /*fallback=*/true);
}

std::string languageOfCollection(const Properties& properties) {
  const ServerWords& w = words();
  return firstGiven(properties,
                    {&w.documentLanguage, &w.knownLanguage, &w.locale, &w.fallbackLanguage},
                    w.defaultLanguage);
}

std::string languageOfDocument(const Properties& properties,
                               const std::string& collectionLanguage) {
  const ServerWords& w = words();
  return firstGiven(properties, {&w.documentLanguage, &w.knownLanguage, &w.fallbackLanguage},
                    collectionLanguage);
}

std::string languageOfQuery(const Properties& properties, const std::string& collectionLanguage) {
  return firstGiven(properties, {&words().queryLanguage}, collectionLanguage);
}

}  // namespace orvix::server
