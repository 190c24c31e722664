// SPDX-License-Identifier: Apache-2.0
// Names of collections, fields, languages and versions, and what the server makes of them.
#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "server/qorDocumentBody.h"
#include "server/qorDocumentTerm.h"
#include "server/qorFieldRegistry.h"
#include "server/qorLanguages.h"
#include "server/qorNameEncoding.h"
#include "server/qorSortKey.h"
#include "server/qorTextDecoder.h"
#include "server/qorVersionRanges.h"

namespace orvix::server {
namespace {

TEST(NameEncoding, NoTwoNamesMeetAndNoneLeavesItsFolder) {
  std::vector<std::string> names{"docs", "Docs", ".",     "..",  "../x",
                                 "/etc", "a/b",  "a%2Fb", "a%b", "n-",
                                 "a b",  "a\n",  "%",     "é",   std::string("\0", 1)};
  for (int byte = 0; byte < 256; ++byte)
    names.push_back("x" + std::string(1, static_cast<char>(byte)));
  std::set<std::string> folders;
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const auto folder = folderNameOf(name);
    ASSERT_TRUE(folder);
    EXPECT_TRUE(folders.insert(*folder).second);
    EXPECT_EQ(folder->find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_-%ABCDEF"),
              std::string::npos);
    EXPECT_EQ(nameOfFolder(*folder), name);
  }
}

TEST(NameEncoding, RefusesWhatItCannotMap) {
  EXPECT_FALSE(folderNameOf(""));
  EXPECT_TRUE(folderNameOf(std::string(198, 'a')));
  EXPECT_FALSE(folderNameOf(std::string(199, 'a')));
  for (const char* folder : {"", "n-", "docs", "n-A", "n-%61", "n-%4", "n-%zz", "n-%2f", "n-.."}) {
    SCOPED_TRACE(folder);
    EXPECT_FALSE(nameOfFolder(folder));
  }
}

TEST(FieldRegistry, PrefixesStandInEitherOrder) {
  struct Case {
    const char* name;
    const char* bare;
    bool searchable;
    bool sortable;
  };
  for (const Case& c :
       {Case{"plain", "plain", false, false}, Case{"Indexable:t", "t", true, false},
        Case{"[sortable]t", "t", false, true}, Case{"Indexable:[sortable]t", "t", true, true},
        Case{"[sortable]Indexable:t", "t", true, true},
        Case{"indexable:t", "indexable:t", false, false},
        Case{"Indexable:Indexable:t", "Indexable:t", true, false}}) {
    SCOPED_TRACE(c.name);
    const FieldName field = splitFieldName(c.name);
    EXPECT_EQ(field.bare, c.bare);
    EXPECT_EQ(field.searchable, c.searchable);
    EXPECT_EQ(field.sortable, c.sortable);
  }
}

TEST(FieldRegistry, KeepsNumbersAndAbilitiesThroughItsStoredForm) {
  FieldRegistry registry;
  registry.add(splitFieldName("Indexable:b"));
  registry.add(splitFieldName("[sortable]a"));
  registry.add(splitFieldName("[sortable]b"));
  EXPECT_TRUE(registry.changed());
  const std::string stored = registry.store();
  EXPECT_FALSE(registry.changed());
  FieldRegistry loaded = FieldRegistry::load(stored);
  loaded.add(splitFieldName("Indexable:b"));
  EXPECT_FALSE(loaded.changed());
  ASSERT_NE(loaded.find("b"), nullptr);
  EXPECT_TRUE(loaded.find("b")->searchable && loaded.find("b")->sortable);
  EXPECT_EQ(loaded.find("a")->number, 1U);
  EXPECT_EQ(loaded.add(splitFieldName("Indexable:c")).number, 2U);
  EXPECT_ANY_THROW(static_cast<void>(FieldRegistry::load(stored.substr(1))));
}

TEST(Languages, TagsAndLocalesLeadToAStemmerOrToNone) {
  for (const char* tag : {"en_US", "EN-us", "en_GB.UTF-8"}) {
    EXPECT_EQ(stemmerOf(tag)("collators"), "collat") << tag;
  }
  for (const char* tag : {"", "ja", "klingon"}) EXPECT_EQ(stemmerOf(tag)("words"), "words") << tag;
  const Properties given{{"docLang", ""}, {"KnownLanguage", "fr_FR"}, {"locale", "de"}};
  EXPECT_EQ(languageOfCollection(given), "fr");
  EXPECT_EQ(languageOfCollection({{"locale", "de_DE"}}), "de");
  EXPECT_EQ(languageOfCollection({}), "en");
  EXPECT_EQ(languageOfDocument({{"locale", "de"}}, "it"), "it");
}

TEST(TextDecoder, CharactersSurviveAndDamageIsReplaced) {
  EXPECT_EQ(toUtf8("gr\xfc\xdf", "ISO-8859-1"), "grüß");
  EXPECT_EQ(toUtf8(std::string_view("\0a", 2), "UTF-16BE"), "a");
  EXPECT_EQ(toUtf8("grüß", ""), "grüß");
  EXPECT_EQ(toUtf8("a\xff"
                   "b",
                   "UTF-8"),
            "a\xef\xbf\xbd"
            "b");
  EXPECT_EQ(toUtf8("cut \xc3", ""), "cut \xef\xbf\xbd");
  EXPECT_ANY_THROW(static_cast<void>(toUtf8("x", "klingon")));
}

TEST(SortKey, NumbersSortByValueAndBeforeTexts) {
  const std::vector<std::string> ascending{"-10", "-2", "0",       "+1.5",  "9",     "10",
                                           "1e3", "",   "1 apple", "apple", "Äpple", "banana"};
  for (std::size_t i = 1; i < ascending.size(); ++i) {
    EXPECT_LT(sortKeyOf(ascending[i - 1], "en"), sortKeyOf(ascending[i], "en")) << ascending[i];
  }
  EXPECT_LT(sortKeyOf(std::string(5000, 'z'), "en"), lastSortKey());
}

TEST(DocumentTerm, StaysWithinTheEnginesTermLimit) {
  for (const std::size_t size : {1U, 99U, 100U, 101U, 200U, 201U, 16384U}) {
    for (const char byte : {'\0', 'k'}) {
      const std::string term = documentTermOf(std::string(size, byte));
      const auto doubled = static_cast<std::size_t>(std::count(term.begin(), term.end(), '\0'));
      EXPECT_LE(term.size() + doubled, 245U) << size;
    }
  }
  EXPECT_NE(documentTermOf(std::string(300, 'k') + "1"),
            documentTermOf(std::string(300, 'k') + "2"));
}

TEST(VersionRanges, ListsAndRangesIncludeTheirEnds) {
  for (const char* list : {"1.1", "1.1.0", "1.0,1.1", "1.0-1.1", "1.1-2", " 1.0 - 1.2 ", "x,1.1"}) {
    EXPECT_TRUE(versionListContains(list, "1.1")) << list;
  }
  for (const char* list : {"", "1.0", "1.10", "1.2-2.0", "1.1x", "-", ",", "1.0-", "1..1"}) {
    EXPECT_FALSE(versionListContains(list, "1.1")) << list;
  }
}

}  // namespace
}  // namespace orvix::server
